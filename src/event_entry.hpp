// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the entries that the event-description library fills for an
 *  event. */

#include <platform/event_description.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace health_namespace::details
{

/** The message of an event. The getters never read beyond a field, whatever its
 *  bytes are. */
struct JnlEntry
{
    /** The registry's severity: 1 critical, 2 warning, 3 informational. */
    uint32_t severity() const;
    std::string messageId() const;
    std::string message() const;
    /** The message's arguments, at most JNL_ENTRY_MAX_ARGUMENTS. */
    std::vector<std::string> arguments() const;
    /** What the event is about. */
    std::string description() const;

    std::array<uint8_t, JNL_ENTRY_SIZE> bytes{};
};

/** What the front panel shows for an event. */
struct LcdEntry
{
    /** The LED state that the event asks for; 0 asks for none. */
    int32_t ledState() const;
    std::string text() const;

    std::array<uint8_t, LCD_ENTRY_SIZE> bytes{};
};

} // namespace health_namespace::details
