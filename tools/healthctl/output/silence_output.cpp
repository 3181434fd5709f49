// SPDX-License-Identifier: Apache-2.0
#include "silence_output.hpp"

#include "../model/component.hpp"
#include "../source/process_name.hpp"
#include "line_output.hpp"
#include "table.hpp"
#include "time_text.hpp"

#include <nlohmann/json.hpp>

namespace healthintf::healthctl
{
namespace
{

std::string period(const Silence& silence)
{
    return "since " + localTime(clockTime(silence.since)) + " until " +
           localTime(clockTime(silence.until)) + " by " +
           readUserName(silence.user);
}

} // namespace

std::string targetInWords(const HideTarget& target)
{
    if (!target.key.empty())
    {
        return shownKey(target.key);
    }
    return target.sensorPath.empty()
               ? "sensor number " + std::to_string(target.sensorNumber)
               : "sensor " + target.sensorPath;
}

nlohmann::ordered_json toJson(const Silence& silence)
{
    return {{"id", silence.id},
            {"component", silence.target.key},
            {"sensorPath", silence.target.sensorPath},
            {"sensorNumber", silence.target.sensorNumber},
            {"since", utcTime(clockTime(silence.since))},
            {"until", utcTime(clockTime(silence.until))},
            {"uid", silence.user},
            {"user", readUserName(silence.user)},
            {"comment", silence.comment}};
}

nlohmann::ordered_json toJson(const Silences& silences)
{
    auto all = nlohmann::ordered_json::array();
    for (const Silence& silence : silences)
    {
        all.push_back(toJson(silence));
    }
    return all;
}

void printSilences(const Context& context, const Silences& silences)
{
    constexpr std::size_t target = 1;
    Table table({{target, 16}});
    for (const Silence& silence : silences)
    {
        table.addRow({{std::to_string(silence.id), Tone::strong},
                      targetInWords(silence.target),
                      "until " + localTime(clockTime(silence.until)),
                      "by " + readUserName(silence.user)});
        table.addText("   ", "   ", silence.comment, Tone::plain);
        table.addLine("   ", "since " + localTime(clockTime(silence.since)),
                      Tone::faint);
    }
    table.print(context.out, context.style, context.width);
}

void writeSilences(const Context& context, const Silences& silences)
{
    for (const Silence& silence : silences)
    {
        writeLine(context,
                  "silence " + std::to_string(silence.id) + " hides " +
                      targetInWords(silence.target) + " " + period(silence) +
                      ": " + silence.comment,
                  Tone::faint);
    }
}

} // namespace healthintf::healthctl
