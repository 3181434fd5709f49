// SPDX-License-Identifier: Apache-2.0
#include "event_table_file.hpp"

#include "event_record.hpp"
#include "event_text.hpp"
#include "json_node.hpp"

#include <platform/event_description.h>

#include <algorithm>
#include <charconv>

namespace healthintf::host
{
namespace
{

constexpr std::size_t maxIdSize = JNL_ENTRY_MESSAGE_ID_SIZE - 1;
constexpr std::size_t maxTextSize = JNL_ENTRY_MESSAGE_SIZE - 1;
/** A sensor's name followed by its number must fit into an argument. */
constexpr std::size_t maxNameSize = 48;
constexpr std::string_view categoryPlace = "{category}";
/** The category of events without a description. */
constexpr std::string_view reservedCategory = "UNK";
/** Offset 0Fh means that the state is not known. */
constexpr uint8_t highestOffset = 0x0E;
constexpr uint8_t highestEventType = 0x7F;
constexpr unsigned int highestLedState = 6;

bool isCapital(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool isAlphanumeric(char c)
{
    return isCapital(c) || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

/** Parses a key that is a number, such as 0x2C. */
uint8_t parseNumberKey(const JsonNode& node, uint8_t lowest, uint8_t highest)
{
    const std::string& key = node.key();
    unsigned int number = 0;
    const char* end = key.data() + key.size();
    const bool hex = key.size() == 4 && key.starts_with("0x");
    if (!hex || std::from_chars(key.data() + 2, end, number, 16).ptr != end ||
        number < lowest || number > highest)
    {
        node.fail("is no number from " + hexByte(lowest) + " to " +
                  hexByte(highest));
    }
    return static_cast<uint8_t>(number);
}

/** Reads each member of an object whose keys are numbers. Fails when two keys,
 *  such as 0x0a and 0x0A, are the same number. */
template <typename Value, typename Read>
std::map<uint8_t, Value> readNumbered(const JsonNode& node, uint8_t lowest,
                                      uint8_t highest, Read&& read)
{
    std::map<uint8_t, Value> all;
    for (const JsonNode& member : node.members())
    {
        const uint8_t number = parseNumberKey(member, lowest, highest);
        if (!all.try_emplace(number, read(member)).second)
        {
            member.fail("is a duplicate number in another spelling");
        }
    }
    return all;
}

const std::string& readText(const JsonNode& node, TextUse use,
                            std::size_t longest)
{
    const std::string& text = node.asText(longest);
    if (const std::string problem = textProblem(text, use); !problem.empty())
    {
        node.fail(problem);
    }
    return text;
}

/** Reads an identifier: the category, then letters and digits. */
std::string readId(const JsonNode& node, const std::string& category)
{
    constexpr std::size_t most = maxIdSize - categorySize;
    const std::string& id = readText(node, TextUse::id, category.size() + most);
    const std::string_view rest =
        std::string_view(id).substr(std::min(id.size(), category.size()));
    if (!id.starts_with(category) || rest.empty() ||
        !std::ranges::all_of(rest, isAlphanumeric))
    {
        node.fail("is not " + category + " and letters or digits");
    }
    return id;
}

EventSeverity readSeverity(const JsonNode& node)
{
    const std::string& word = node.asText(maxNameSize);
    if (word == "Critical")
    {
        return EventSeverity::critical;
    }
    if (word == "Warning")
    {
        return EventSeverity::warning;
    }
    if (word == "Informational")
    {
        return EventSeverity::informational;
    }
    node.fail("is none of Critical, Warning and Informational");
}

/** Reads a text for the LCD, which must fit with its values filled in. */
std::string readLcd(const JsonNode& node)
{
    const std::string& lcd = readText(node, TextUse::lcd, maxTextSize);
    const EventValues longest{{"category", std::string(reservedCategory)},
                              {"number", hexByte(0)}};
    if (fillText(lcd, longest).text.size() > maxLcdSize)
    {
        node.fail("is longer than " + std::to_string(maxLcdSize) +
                  " bytes with its values");
    }
    return lcd;
}

EventMessage readMessage(const JsonNode& node, const std::string& category)
{
    node.allowOnly({"Id", "Severity", "Text", "Lcd", "Led"});
    const EventSeverity severity = readSeverity(node.at("Severity"));
    return {.id = readId(node.at("Id"), category),
            .severity = severity,
            .text = readText(node.at("Text"), TextUse::message, maxTextSize),
            .lcd = readLcd(node.at("Lcd")),
            .ledState = node.has("Led")
                            ? static_cast<LedState>(
                                  node.at("Led").asNumber(highestLedState))
                            : defaultLedState(severity)};
}

using DetailLists = std::map<std::string, EventDetails>;

DetailLists readDetailLists(const JsonNode& type)
{
    DetailLists lists;
    if (type.has("Details"))
    {
        for (const JsonNode& list : type.at("Details").members())
        {
            lists[list.key()] = readNumbered<std::string>(
                list, 0x00, 0xFF, [](const JsonNode& detail) {
                    return detail.asText(JNL_ENTRY_ARGUMENT_SIZE - 1);
                });
        }
    }
    return lists;
}

EventState readState(const JsonNode& node, const std::string& category,
                     const DetailLists& lists)
{
    node.allowOnly({"Asserted", "Deasserted", "Detail"});
    EventState state{.asserted = readMessage(node.at("Asserted"), category),
                     .deasserted = readMessage(node.at("Deasserted"), category),
                     .details = {}};
    if (node.has("Detail"))
    {
        const JsonNode detail = node.at("Detail");
        const auto list = lists.find(detail.asText(maxNameSize));
        if (list == lists.end())
        {
            detail.fail("is no list of Details");
        }
        state.details = list->second;
    }
    return state;
}

/** Reads the states of a type; it may have none. */
EventStates readStates(const JsonNode& type, const std::string& category)
{
    if (!type.has("Offsets"))
    {
        return {};
    }
    const DetailLists lists = readDetailLists(type);
    return readNumbered<EventState>(
        type.at("Offsets"), 0x00, highestOffset, [&](const JsonNode& state) {
            return readState(state, category, lists);
        });
}

EventType readEventType(const JsonNode& node)
{
    node.allowOnly({"Name", "Details", "Offsets"});
    if (parseNumberKey(node, 0x01, highestEventType) == sensorSpecificEvent)
    {
        node.fail("is for states that stand under SensorTypes");
    }
    return {.name = node.at("Name").asText(maxNameSize),
            .states = readStates(node, std::string(categoryPlace))};
}

std::string readCategory(const JsonNode& node)
{
    const std::string& category = node.asText(categorySize);
    if (category.size() != categorySize ||
        !std::ranges::all_of(category, isCapital) ||
        category == reservedCategory)
    {
        node.fail("is not three capital letters other than " +
                  std::string(reservedCategory));
    }
    return category;
}

std::string readComponent(const JsonNode& node)
{
    const std::string& component = node.asText(maxNameSize);
    if (!std::ranges::all_of(component, isAlphanumeric))
    {
        node.fail("has other characters than letters and digits");
    }
    return component;
}

SensorType readSensorType(const JsonNode& node)
{
    node.allowOnly({"Name", "Category", "Component", "Details", "Offsets"});
    const std::string category = readCategory(node.at("Category"));
    return {.name = node.at("Name").asText(maxNameSize),
            .category = category,
            .component = readComponent(node.at("Component")),
            .states = readStates(node, category)};
}

} // namespace

LedState defaultLedState(EventSeverity severity)
{
    switch (severity)
    {
        case EventSeverity::critical:
            return LedState::fault;
        case EventSeverity::warning:
            return LedState::attention;
        case EventSeverity::informational:
            break;
    }
    return LedState::none;
}

EventTableFile parseEventTable(std::string_view text)
{
    const nlohmann::json parsed = JsonNode::parse(text);
    const JsonNode whole(parsed, text);
    whole.allowOnly({"EventTypes", "SensorTypes"});
    EventTableFile file;
    if (whole.has("EventTypes"))
    {
        file.eventTypes = readNumbered<EventType>(
            whole.at("EventTypes"), 0x01, highestEventType, readEventType);
    }
    if (whole.has("SensorTypes"))
    {
        file.sensorTypes = readNumbered<SensorType>(whole.at("SensorTypes"),
                                                    0x01, 0xFF, readSensorType);
    }
    return file;
}

} // namespace healthintf::host
