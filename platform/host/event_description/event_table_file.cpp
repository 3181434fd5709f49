#include "event_table_file.hpp"

#include "event_record.hpp"
#include "event_text.hpp"
#include "json_place.hpp"

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
uint8_t numberOf(const JsonPlace& place, uint8_t lowest, uint8_t highest)
{
    const std::string& key = place.key();
    unsigned int number = 0;
    const char* end = key.data() + key.size();
    const bool hex = key.size() == 4 && key.starts_with("0x");
    if (!hex || std::from_chars(key.data() + 2, end, number, 16).ptr != end ||
        number < lowest || number > highest)
    {
        place.fail("is no number from " + hexByte(lowest) + " to " +
                   hexByte(highest));
    }
    return static_cast<uint8_t>(number);
}

/** Reads each member of an object whose keys are numbers. Fails when two keys,
 *  such as 0x0a and 0x0A, are the same number. */
template <typename Value, typename Read>
std::map<uint8_t, Value> readNumbered(const JsonPlace& place, uint8_t lowest,
                                      uint8_t highest, Read&& read)
{
    std::map<uint8_t, Value> all;
    for (const JsonPlace& member : place.members())
    {
        const uint8_t number = numberOf(member, lowest, highest);
        if (!all.try_emplace(number, read(member)).second)
        {
            member.fail("is a duplicate number in another spelling");
        }
    }
    return all;
}

const std::string& readText(const JsonPlace& place, TextUse use,
                            std::size_t longest)
{
    const std::string& text = place.asText(longest);
    if (const std::string problem = textProblem(text, use); !problem.empty())
    {
        place.fail(problem);
    }
    return text;
}

/** Reads an identifier: the category, then letters and digits. */
std::string readId(const JsonPlace& place, const std::string& category)
{
    constexpr std::size_t most = maxIdSize - categorySize;
    const std::string& id =
        readText(place, TextUse::id, category.size() + most);
    const std::string_view rest =
        std::string_view(id).substr(std::min(id.size(), category.size()));
    if (!id.starts_with(category) || rest.empty() ||
        !std::ranges::all_of(rest, isAlphanumeric))
    {
        place.fail("is not " + category + " and letters or digits");
    }
    return id;
}

EventSeverity readSeverity(const JsonPlace& place)
{
    const std::string& word = place.asText(maxNameSize);
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
    place.fail("is none of Critical, Warning and Informational");
}

/** Reads a text for the LCD, which must fit with its values filled in. */
std::string readLcd(const JsonPlace& place)
{
    const std::string& lcd = readText(place, TextUse::lcd, maxTextSize);
    const EventValues longest{{"category", std::string(reservedCategory)},
                              {"number", hexByte(0)}};
    if (fillText(lcd, longest).text.size() > maxLcdSize)
    {
        place.fail("is longer than " + std::to_string(maxLcdSize) +
                   " bytes with its values");
    }
    return lcd;
}

EventMessage readMessage(const JsonPlace& place, const std::string& category)
{
    place.allowOnly({"Id", "Severity", "Text", "Lcd", "Led"});
    const EventSeverity severity = readSeverity(place.at("Severity"));
    return {.id = readId(place.at("Id"), category),
            .severity = severity,
            .text = readText(place.at("Text"), TextUse::message, maxTextSize),
            .lcd = readLcd(place.at("Lcd")),
            .ledState = place.has("Led")
                            ? static_cast<LedState>(
                                  place.at("Led").asNumber(highestLedState))
                            : ledStateOf(severity)};
}

using DetailLists = std::map<std::string, EventDetails>;

DetailLists readDetailLists(const JsonPlace& type)
{
    DetailLists lists;
    if (type.has("Details"))
    {
        for (const JsonPlace& list : type.at("Details").members())
        {
            lists[list.key()] = readNumbered<std::string>(
                list, 0x00, 0xFF, [](const JsonPlace& detail) {
                    return detail.asText(JNL_ENTRY_ARGUMENT_SIZE - 1);
                });
        }
    }
    return lists;
}

EventState readState(const JsonPlace& place, const std::string& category,
                     const DetailLists& lists)
{
    place.allowOnly({"Asserted", "Deasserted", "Detail"});
    EventState state{.asserted = readMessage(place.at("Asserted"), category),
                     .deasserted =
                         readMessage(place.at("Deasserted"), category),
                     .details = {}};
    if (place.has("Detail"))
    {
        const JsonPlace detail = place.at("Detail");
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
EventStates readStates(const JsonPlace& type, const std::string& category)
{
    if (!type.has("Offsets"))
    {
        return {};
    }
    const DetailLists lists = readDetailLists(type);
    return readNumbered<EventState>(
        type.at("Offsets"), 0x00, highestOffset, [&](const JsonPlace& state) {
            return readState(state, category, lists);
        });
}

EventType readEventType(const JsonPlace& place)
{
    place.allowOnly({"Name", "Details", "Offsets"});
    if (numberOf(place, 0x01, highestEventType) == sensorSpecificEvent)
    {
        place.fail("is for states that stand under SensorTypes");
    }
    return {.name = place.at("Name").asText(maxNameSize),
            .states = readStates(place, std::string(categoryPlace))};
}

std::string readCategory(const JsonPlace& place)
{
    const std::string& category = place.asText(categorySize);
    if (category.size() != categorySize ||
        !std::ranges::all_of(category, isCapital) ||
        category == reservedCategory)
    {
        place.fail("is not three capital letters other than " +
                   std::string(reservedCategory));
    }
    return category;
}

std::string readComponent(const JsonPlace& place)
{
    const std::string& component = place.asText(maxNameSize);
    if (!std::ranges::all_of(component, isAlphanumeric))
    {
        place.fail("has other characters than letters and digits");
    }
    return component;
}

SensorType readSensorType(const JsonPlace& place)
{
    place.allowOnly({"Name", "Category", "Component", "Details", "Offsets"});
    const std::string category = readCategory(place.at("Category"));
    return {.name = place.at("Name").asText(maxNameSize),
            .category = category,
            .component = readComponent(place.at("Component")),
            .states = readStates(place, category)};
}

} // namespace

LedState ledStateOf(EventSeverity severity)
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
    const nlohmann::json parsed = JsonPlace::parse(text);
    const JsonPlace whole(parsed, text);
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
