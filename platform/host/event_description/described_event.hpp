#pragma once

/** @file What the library is told of an event. */

#include "event_table.hpp"

#include <string>
#include <vector>

namespace healthintf::host
{

struct EventRecord;

/** An event in words. */
struct DescribedEvent
{
    EventSeverity severity = EventSeverity::informational;
    std::string id;
    std::string text;
    std::vector<std::string> arguments;
    /** What it is about: PowerSupply.Sensor.0x63. */
    std::string component;
    std::string lcd;
    LedState ledState = LedState::none;
};

/** Describes any record, also one that the table does not know. */
DescribedEvent describe(const EventRecord& record, const EventTable& table);

} // namespace healthintf::host
