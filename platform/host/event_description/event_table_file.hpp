#pragma once

/** @file One file of the event table. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace healthintf::host
{

/** Severities as the users of descriptions know them. */
enum class EventSeverity : uint16_t
{
    critical = 1,
    warning = 2,
    informational = 3,
};

/** What the front panel's LED shall do. A file may ask for others, up to 6. */
enum class LedState : uint8_t
{
    none = 0,
    attention = 1,
    fault = 2,
};

/** The LED state of events that say nothing else. */
LedState ledStateOf(EventSeverity severity);

/** Letters of a category, which identifiers begin with. */
inline constexpr std::size_t categorySize = 3;

/** Bytes of a text for the front panel, which has two lines of 16. */
inline constexpr std::size_t maxLcdSize = 32;

/** What to say of an event. */
struct EventMessage
{
    /** Of an event type with {category} in front. */
    std::string id;
    EventSeverity severity = EventSeverity::informational;
    /** With placeholders, as the text for the LCD. */
    std::string text;
    std::string lcd;
    LedState ledState = LedState::none;
};

/** What a number in an event's data means. */
using EventDetails = std::map<uint8_t, std::string>;

/** A state that can begin and end. */
struct EventState
{
    EventMessage asserted;
    EventMessage deasserted;
    /** What event data 2 may say. */
    EventDetails details;

    const EventMessage& message(bool assertion) const
    {
        return assertion ? asserted : deasserted;
    }
};

/** States by their offsets. */
using EventStates = std::map<uint8_t, EventState>;

/** States that sensors of any type may have. */
struct EventType
{
    std::string name;
    EventStates states;
};

/** A type of sensor, and the states that only it may have. */
struct SensorType
{
    std::string name;
    /** Three letters that its identifiers begin with. */
    std::string category;
    /** Its name in a component's identifier. */
    std::string component;
    EventStates states;
};

struct EventTableFile
{
    std::map<uint8_t, EventType> eventTypes;
    std::map<uint8_t, SensorType> sensorTypes;
};

/** An event table that cannot be used. */
class EventTableError : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/** Reads the text of a file.
 *
 *  @throws EventTableError when anything in it is wrong; its text names line
 *          and cause */
EventTableFile parseEventTable(std::string_view text);

} // namespace healthintf::host
