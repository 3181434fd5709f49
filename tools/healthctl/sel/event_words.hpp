// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Descriptions of events, from the platform. */

#include "raw_records.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** How bad an event is, as the platform numbers it. */
enum class EventSeverity : uint16_t
{
    critical = 1,
    warning = 2,
    informational = 3,
};

/** The word for a severity; "unknown" for a number that is none. */
std::string wordFor(EventSeverity severity);

/** An event in words. */
struct EventWords
{
    EventSeverity severity = EventSeverity::informational;
    std::string messageId;
    std::string text;
    std::vector<std::string> arguments;
    /** What it is about. */
    std::string component;
    int ledState = 0;
    std::string lcd;
};

/** The platform's descriptions as long as they are wanted. */
class EventDescriptions
{
  public:
    EventDescriptions();
    EventDescriptions(const EventDescriptions&) = delete;
    EventDescriptions& operator=(const EventDescriptions&) = delete;
    ~EventDescriptions();

    /** Describes a record; nothing when the platform cannot. */
    std::optional<EventWords> describe(const RawRecord& record) const;

    /** Whether there are descriptions at all. */
    bool attached() const
    {
        return result == 0;
    }

  private:
    int result;
};

} // namespace healthintf::healthctl
