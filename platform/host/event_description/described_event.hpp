// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The description of an event. */

#include "event_table.hpp"

#include <string>
#include <vector>

namespace healthintf::host
{

struct EventRecord;

/** Texts and properties of one event. */
struct DescribedEvent
{
    EventSeverity severity = EventSeverity::informational;
    std::string id;
    std::string text;
    std::vector<std::string> arguments;
    /** The component's identifier, for example PowerSupply.Sensor.0x63. */
    std::string component;
    std::string lcd;
    LedState ledState = LedState::none;
};

/** Describes a record, also one that the table does not have. */
DescribedEvent describe(const EventRecord& record, const EventTable& table);

} // namespace healthintf::host
