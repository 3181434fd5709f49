#pragma once

/** @file What the event-description library says of an event, read from the
 *  entries that it fills. */

#include <platform/event_description.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace health_namespace::details
{

/** The message of an event. Nothing beyond a field's end is read, whatever the
 *  bytes are. */
struct JnlEntry
{
    /** The registry's severity: 1 critical, 2 warning, 3 informational. */
    uint32_t severity() const;
    std::string messageId() const;
    std::string message() const;
    /** The message's arguments; no more than there are fields for. */
    std::vector<std::string> arguments() const;
    /** What the event is about. */
    std::string description() const;

    std::array<uint8_t, JNL_ENTRY_SIZE> bytes{};
};

/** What the front panel shows of an event. */
struct LcdEntry
{
    /** 0 for none. */
    int32_t ledState() const;
    std::string text() const;

    std::array<uint8_t, LCD_ENTRY_SIZE> bytes{};
};

} // namespace health_namespace::details
