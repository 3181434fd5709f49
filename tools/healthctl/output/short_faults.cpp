// SPDX-License-Identifier: Apache-2.0
#include "short_faults.hpp"

#include "../model/component.hpp"
#include "fault_output.hpp"
#include "table.hpp"
#include "time_text.hpp"

#include <hmi_health_value.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

/** The least columns of a wide terminal. */
constexpr std::size_t wide = 160;

std::vector<Cell> makeRow(const Fault& fault, const Style& style,
                          const std::string& time)
{
    const FaultEntry_gen& record = fault.record;
    const Tone tone =
        record.hidden() ? Tone::faint : healthTone(record.severity());
    return {{health_namespace::healthWord(record.severity()), tone,
             std::string(style.glyphs().bullet) + " "},
            time,
            {shownKey(getComponent(fault.path)), Tone::strong},
            {record.message(), tone},
            {marksInWords(fault), Tone::unknown}};
}

} // namespace

bool isWideTerminal(const Context& context)
{
    return context.width && *context.width >= wide;
}

void printShortFaults(const Context& context, const Faults& faults,
                      uint64_t now)
{
    constexpr std::size_t component = 2;
    constexpr std::size_t message = 3;
    constexpr std::size_t id = 5;
    const bool whole = !context.width || isWideTerminal(context);
    Table table({{id, 12}, {component, 14}, {message, 20}, {component, 8}});
    for (const Fault& fault : faults)
    {
        const uint64_t time = fault.record.timestamp();
        auto row = makeRow(fault, context.style,
                           whole ? localTime(time) : briefTime(time, now));
        if (whole)
        {
            row.emplace_back(fault.record.messageID(), Tone::faint);
        }
        table.addRow(std::move(row));
    }
    table.print(context.out, context.style, context.width);
}

} // namespace healthintf::healthctl
