// SPDX-License-Identifier: Apache-2.0
#include "fault_output.hpp"

#include "../model/component.hpp"
#include "../model/fault_name.hpp"
#include "../model/trial.hpp"
#include "../source/process_name.hpp"
#include "explanation_output.hpp"
#include "line_output.hpp"
#include "table.hpp"
#include "text.hpp"
#include "time_text.hpp"

#include <hmi_health_value.hpp>

#include <nlohmann/json.hpp>

#include <map>
#include <optional>
#include <string>

namespace healthintf::healthctl
{
namespace
{

/** The sensor's path and number, by which its faults can be hidden. */
std::string describeSensor(const FaultEntry_gen& record)
{
    std::string text = record.sensorPath();
    if (record.sensorNumber() != 0)
    {
        text += (text.empty() ? "" : ", ") + std::string("number ") +
                std::to_string(record.sensorNumber());
    }
    return text.empty() ? text : "sensor " + text;
}

/** What hides a fault, in words: "hidden", or the numbers of silences; empty
 *  for a visible one. */
std::string hiddenInWords(const Fault& fault)
{
    if (fault.silences.empty())
    {
        return fault.record.hidden() ? "hidden" : "";
    }
    std::string words = fault.silences.size() == 1 ? "silence" : "silences";
    for (const uint64_t id : fault.silences)
    {
        words += " " + std::to_string(id);
    }
    return words;
}

/** Adds the explanation of a fault below it. */
void addExplanation(Table& table, const Fault& fault,
                    const host::Explanations& explanations)
{
    const std::string margin(4, ' ');
    const auto found = explanations.find(fault.record.messageID());
    if (found == explanations.end())
    {
        table.addText(margin, margin,
                      "Not explained: no message registry and no event table "
                      "has this message.",
                      Tone::faint);
        return;
    }
    addFields(table, margin, listFields(found->second, fault.record.args()));
}

/** @param[in] named whether to name the entry, because the component has other
 *             faults */
void addFault(Table& table, const Fault& fault, const Style& style, bool named)
{
    const FaultEntry_gen& record = fault.record;
    const Tone tone =
        record.hidden() ? Tone::faint : healthTone(record.severity());
    const std::string bullet = std::string(style.glyphs().bullet) + " ";
    table.addRow(
        {{health_namespace::healthWord(record.severity()), tone, bullet},
         localTime(record.timestamp()),
         {shownKey(getComponent(fault.path)), Tone::strong},
         record.messageID(),
         {marksInWords(fault), Tone::unknown}});
    table.addText("  ", "  ", record.message(), tone);
    if (const std::string sensor = describeSensor(record); !sensor.empty())
    {
        table.addLine("  ", sensor, Tone::faint);
    }
    if (named)
    {
        table.addLine("  ", "entry " + entryName(fault.path), Tone::faint);
    }
    if (const std::string who = acknowledgementInWords(fault); !who.empty())
    {
        table.addText("  ", "  ", who, Tone::faint);
    }
}

/** How many faults each component has. */
std::map<std::string, std::size_t> countByComponent(const Faults& faults)
{
    std::map<std::string, std::size_t> counts;
    for (const Fault& fault : faults)
    {
        ++counts[getComponent(fault.path)];
    }
    return counts;
}

} // namespace

std::string marksInWords(const Fault& fault)
{
    const bool trial = isForTrial(fault.record.fqdd());
    const std::string hidden = hiddenInWords(fault);
    return !trial ? hidden : hidden.empty() ? "trial" : hidden + ", trial";
}

std::string acknowledgementInWords(const Fault& fault)
{
    if (!fault.acknowledgement)
    {
        return "";
    }
    const Acknowledgement& given = *fault.acknowledgement;
    return "acknowledged " + localTime(clockTime(given.time)) + " by " +
           readUserName(given.user) + ": " + given.comment;
}

nlohmann::ordered_json toJson(const Acknowledgement& acknowledgement)
{
    return {{"time", utcTime(clockTime(acknowledgement.time))},
            {"uid", acknowledgement.user},
            {"user", readUserName(acknowledgement.user)},
            {"comment", acknowledgement.comment}};
}

nlohmann::ordered_json toJson(const Fault& fault)
{
    const FaultEntry_gen& record = fault.record;
    return {{"path", fault.path},
            {"component", getComponent(fault.path)},
            {"severity", health_namespace::healthWord(record.severity())},
            {"timestamp", record.timestamp()},
            {"time", utcTime(record.timestamp())},
            {"messageId", record.messageID()},
            {"message", record.message()},
            {"args", record.args()},
            {"fqdd", record.fqdd()},
            {"sensorPath", record.sensorPath()},
            {"sensorNumber", record.sensorNumber()},
            {"sensorType", record.sensorType()},
            {"ledState", record.ledState()},
            {"lcdMessage", record.lcdMessage()},
            {"hidden", record.hidden()},
            {"trial", isForTrial(record.fqdd())},
            {"silences", fault.silences},
            {"acknowledgement", fault.acknowledgement
                                    ? toJson(*fault.acknowledgement)
                                    : nlohmann::ordered_json(nullptr)}};
}

nlohmann::ordered_json toJson(const Faults& faults)
{
    auto all = nlohmann::ordered_json::array();
    for (const Fault& fault : faults)
    {
        all.push_back(toJson(fault));
    }
    return all;
}

nlohmann::ordered_json toJson(const Faults& faults,
                              const host::Explanations& explanations)
{
    auto all = nlohmann::ordered_json::array();
    for (const Fault& fault : faults)
    {
        const auto found = explanations.find(fault.record.messageID());
        all.push_back(toJson(fault));
        all.back()["explanation"] =
            found != explanations.end()
                ? toJson(found->second, fault.record.args())
                : nlohmann::ordered_json(nullptr);
    }
    return all;
}

void printFaults(const Context& context, const Faults& faults,
                 const std::optional<host::Explanations>& explanations)
{
    constexpr std::size_t component = 2;
    constexpr std::size_t message = 3;
    Table table({{component, 20}, {message, 16}, {component, 8}});
    const auto counts = countByComponent(faults);
    for (const Fault& fault : faults)
    {
        addFault(table, fault, context.style,
                 counts.at(getComponent(fault.path)) > 1);
        if (explanations)
        {
            addExplanation(table, fault, *explanations);
        }
    }
    table.print(context.out, context.style, context.width);
}

} // namespace healthintf::healthctl
