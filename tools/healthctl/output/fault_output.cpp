// SPDX-License-Identifier: Apache-2.0
#include "fault_output.hpp"

#include "../model/component.hpp"
#include "table.hpp"
#include "text.hpp"
#include "time_text.hpp"

#include <hmi_health_value.hpp>

#include <nlohmann/json.hpp>

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

void addFault(Table& table, const Fault& fault, const Style& style)
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
         {record.hidden() ? "hidden" : "", Tone::unknown}});
    table.addText("  ", "  ", record.message(), tone);
    if (const std::string sensor = describeSensor(record); !sensor.empty())
    {
        table.addLine("  ", sensor, Tone::faint);
    }
}

} // namespace

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
            {"hidden", record.hidden()}};
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

void printFaults(const Context& context, const Faults& faults)
{
    constexpr std::size_t component = 2;
    constexpr std::size_t message = 3;
    Table table({{component, 20}, {message, 16}, {component, 8}});
    for (const Fault& fault : faults)
    {
        addFault(table, fault, context.style);
    }
    table.print(context.out, context.style, context.width);
}

} // namespace healthintf::healthctl
