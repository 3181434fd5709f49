// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The part of the recording platform that the System Event Log is:
 *  storing records, the log's entries, and the descriptions of events. */

#include <platform/data_abstraction/sel.hpp>
#include <platform/event_description.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::test
{

using Bytes = std::vector<uint8_t>;

/** The description of an event, from which its entry is made. Every part may
 *  be left out. */
struct EventText
{
    uint16_t severity = 2;
    std::string messageId{};
    std::string message{};
    std::vector<std::string> args{};
    std::string description{};
    /** The number of arguments that the entry tells, if another. */
    std::optional<uint8_t> argumentCount{};
};

/** A description as the library fills it in; a text that fills its field has
 *  no NUL at its end. */
std::array<uint8_t, JNL_ENTRY_SIZE> jnlEntry(const EventText& event);

/** What the front panel shows, as the library fills it in. */
std::array<uint8_t, LCD_ENTRY_SIZE> lcdEntry(uint8_t ledState,
                                             const std::string& text);

struct RecordingSel
{
    /** The entries of the log in the data cache. */
    std::map<std::string, SELEntryProperties> entries;
    /** The identifier that the next record gets. */
    uint32_t nextRecordId = 1;

    /** The descriptions of events by their records; the library refuses every
     *  other record with 1. */
    std::map<Bytes, std::array<uint8_t, JNL_ENTRY_SIZE>> messages;
    /** What the front panel shows, in the same way; nothing for records that
     *  are not here. */
    std::map<Bytes, std::array<uint8_t, LCD_ENTRY_SIZE>> panels;
};

/** Bytes as the journal shows them: two digits each. */
std::string text(const Bytes& bytes);

} // namespace healthintf::test
