// SPDX-License-Identifier: Apache-2.0
#include "summary_output.hpp"

#include "../model/component.hpp"
#include "../output/duration_text.hpp"
#include "../output/table.hpp"

#include <hmi_health_value.hpp>

#include <nlohmann/json.hpp>

#include <string>

namespace healthintf::healthctl
{
namespace
{

std::string countText(uint64_t occurrences)
{
    return std::to_string(occurrences) +
           (occurrences == 1 ? " time" : " times");
}

std::string stateText(const FaultSummary& summary)
{
    const std::string state = summary.lasts ? "lasts" : "ended";
    return summary.flapping ? state + ", flapping" : state;
}

std::vector<Cell> makeRow(const FaultSummary& summary, const Style& style)
{
    const HistoryRecord& fault = summary.fault;
    const Tone tone = healthTone(fault.severity);
    return {{health_namespace::healthWord(fault.severity), tone,
             std::string(style.glyphs().bullet) + " "},
            countText(summary.occurrences),
            durationText(summary.total),
            summary.occurrences > 1 ? "mean " + durationText(summary.mean())
                                    : "",
            {stateText(summary), summary.lasts ? tone : Tone::plain},
            {shownKey(fault.component), Tone::strong},
            fault.messageId};
}

} // namespace

nlohmann::ordered_json toJson(const FaultSummary& summary)
{
    const HistoryRecord& fault = summary.fault;
    return {{"component", fault.component},
            {"severity", health_namespace::healthWord(fault.severity)},
            {"messageId", fault.messageId},
            {"message", fault.message},
            {"args", fault.args},
            {"sensorPath", fault.sensorPath},
            {"sensorNumber", fault.sensorNumber},
            {"occurrences", summary.occurrences},
            {"totalMs", summary.total},
            {"meanMs", summary.mean()},
            {"lasts", summary.lasts},
            {"flapping", summary.flapping}};
}

void printSummaries(const Context& context,
                    const std::vector<FaultSummary>& summaries)
{
    constexpr std::size_t component = 5;
    constexpr std::size_t message = 6;
    Table table({{component, 20}, {message, 16}, {component, 8}});
    for (const FaultSummary& summary : summaries)
    {
        table.addRow(makeRow(summary, context.style));
        table.addText("  ", "  ", summary.fault.message,
                      healthTone(summary.fault.severity));
    }
    table.print(context.out, context.style, context.width);
}

} // namespace healthintf::healthctl
