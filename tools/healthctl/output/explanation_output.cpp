// SPDX-License-Identifier: Apache-2.0
#include "explanation_output.hpp"

#include <nlohmann/json.hpp>

#include <array>
#include <cstddef>
#include <cstdio>
#include <optional>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;
using host::ExplainedArgument;
using host::ExplainedEvent;
using host::Explanation;

std::string orNotGiven(const std::string& text)
{
    return text.empty() ? "not given" : text;
}

/** A fault's value for an argument of the message. Nothing when the fault has
 *  none, or lacks some argument that events may lack: then it is not known
 *  which of those its other values are. */
std::optional<std::string> findValue(const Explanation& explanation,
                                     std::size_t argument, const Values& values)
{
    const bool certain = !explanation.arguments[argument].optional ||
                         values.size() == explanation.arguments.size();
    return certain && argument < values.size() ? std::optional(values[argument])
                                               : std::nullopt;
}

/** How many of a fault's values have an argument of the message; they are the
 *  first ones. */
std::size_t countNamed(const Explanation& explanation, const Values& values)
{
    std::size_t named = 0;
    while (named < explanation.arguments.size() &&
           findValue(explanation, named, values))
    {
        ++named;
    }
    return named;
}

Json toJson(const ExplainedEvent& event)
{
    return {{"sensorType", event.sensorType},
            {"eventType",
             event.eventType.empty() ? Json(nullptr) : Json(event.eventType)},
            {"offset", event.offset},
            {"asserted", event.asserted}};
}

Json toJson(const ExplainedArgument& argument)
{
    return {{"place", argument.place},
            {"type", argument.type},
            {"description", argument.description}};
}

std::string describe(const ExplainedArgument& argument)
{
    const std::string text =
        argument.type.empty()
            ? orNotGiven(argument.description)
            : argument.type + ": " + orNotGiven(argument.description);
    return argument.optional ? text + " Not in every fault." : text;
}

/** A value behind what it is, as "The fan: 7". */
std::string describe(const ExplainedArgument& argument,
                     const std::optional<std::string>& value)
{
    std::string name = argument.description;
    if (name.ends_with('.'))
    {
        name.pop_back();
    }
    return (name.empty() ? "" : name + ": ") + orNotGiven(value.value_or(""));
}

std::string describeState(const ExplainedEvent& event)
{
    std::array<char, 32> offset{};
    std::snprintf(offset.data(), offset.size(), "offset 0x%02x, ",
                  static_cast<unsigned int>(event.offset));
    return std::string(offset.data()) +
           (event.asserted ? "asserted" : "deasserted");
}

void addFields(const ExplainedEvent& event, Fields& fields)
{
    fields.emplace_back("Sensor type", event.sensorType);
    if (!event.eventType.empty())
    {
        fields.emplace_back("Event type", event.eventType);
    }
    fields.emplace_back("State", describeState(event));
}

} // namespace

nlohmann::ordered_json toJson(const Explanation& explanation)
{
    Json arguments = Json::array();
    for (const ExplainedArgument& argument : explanation.arguments)
    {
        arguments.push_back(toJson(argument));
    }
    return {{"id", explanation.id},
            {"severity", explanation.severity},
            {"message", explanation.text},
            {"description", explanation.description},
            {"resolution", explanation.resolution},
            {"arguments", arguments},
            {"event",
             explanation.event ? toJson(*explanation.event) : Json(nullptr)},
            {"file", explanation.file.string()}};
}

nlohmann::ordered_json toJson(const Explanation& explanation,
                              const Values& values)
{
    Json json = toJson(explanation);
    for (std::size_t i = 0; i < explanation.arguments.size(); ++i)
    {
        const auto value = findValue(explanation, i, values);
        json["arguments"][i]["value"] = value ? Json(*value) : Json(nullptr);
    }
    return json;
}

Fields listFields(const Explanation& explanation)
{
    Fields fields{{"Identifier", explanation.id},
                  {"Severity", explanation.severity},
                  {"Message", explanation.text}};
    if (explanation.event)
    {
        addFields(*explanation.event, fields);
    }
    else
    {
        fields.emplace_back("Description", orNotGiven(explanation.description));
        fields.emplace_back("Resolution", orNotGiven(explanation.resolution));
    }
    for (const ExplainedArgument& argument : explanation.arguments)
    {
        fields.emplace_back(argument.place, describe(argument));
    }
    fields.emplace_back("File", explanation.file.string());
    return fields;
}

Fields listFields(const Explanation& explanation, const Values& values)
{
    Fields fields;
    if (!explanation.description.empty())
    {
        fields.emplace_back("Description", explanation.description);
    }
    if (!explanation.resolution.empty())
    {
        fields.emplace_back("Resolution", explanation.resolution);
    }
    const std::size_t named = countNamed(explanation, values);
    for (std::size_t i = 0; i < explanation.arguments.size(); ++i)
    {
        const ExplainedArgument& argument = explanation.arguments[i];
        if (i < named || !argument.optional)
        {
            fields.emplace_back(
                argument.place,
                describe(argument, findValue(explanation, i, values)));
        }
    }
    for (std::size_t i = named; i < values.size(); ++i)
    {
        fields.emplace_back("Other", values[i]);
    }
    return fields;
}

} // namespace healthintf::healthctl
