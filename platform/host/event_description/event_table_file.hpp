// SPDX-License-Identifier: Apache-2.0
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

/** Severities by the numbers that the contract uses. */
enum class EventSeverity : uint16_t
{
    critical = 1,
    warning = 2,
    informational = 3,
};

/** What the front panel's LED shows. A file may use other numbers, up to 6. */
enum class LedState : uint8_t
{
    none = 0,
    attention = 1,
    fault = 2,
};

/** The LED state of a message without a state of its own. */
LedState defaultLedState(EventSeverity severity);

/** The number of letters of a category, with which identifiers begin. */
inline constexpr std::size_t categorySize = 3;

/** The size in bytes of a text for the front panel: two lines of 16. */
inline constexpr std::size_t maxLcdSize = 32;

/** The message of an event. */
struct EventMessage
{
    /** The identifier; that of an event type begins with {category}. */
    std::string id;
    EventSeverity severity = EventSeverity::informational;
    /** The text with placeholders. */
    std::string text;
    std::string lcd;
    LedState ledState = LedState::none;
};

/** Meanings of the numbers in an event's data. */
using EventDetails = std::map<uint8_t, std::string>;

/** A state of a sensor, which is asserted and deasserted. */
struct EventState
{
    EventMessage asserted;
    EventMessage deasserted;
    /** Meanings of event data 2. */
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

/** A sensor type, and the states that only its sensors have. */
struct SensorType
{
    std::string name;
    /** The three letters with which its identifiers begin. */
    std::string category;
    /** The type's name in a component's identifier. */
    std::string component;
    EventStates states;
};

struct EventTableFile
{
    std::map<uint8_t, EventType> eventTypes;
    std::map<uint8_t, SensorType> sensorTypes;
};

/** An event table, or a part of it, is invalid. */
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
