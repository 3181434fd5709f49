// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The System Event Log of the recording platform: stored records, the
 *  log's entries, and the descriptions of events. */

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

/** The description of an event from which jnlEntry() builds an entry. Every
 *  field is optional. */
struct EventText
{
    uint16_t severity = 2;
    std::string messageId{};
    std::string message{};
    std::vector<std::string> args{};
    std::string description{};
    /** The argument count to write, if it differs from the real one. */
    std::optional<uint8_t> argumentCount{};
};

/** A journal entry as the event-description library fills it in; a text as long
 *  as its field has no NUL at its end. */
std::array<uint8_t, JNL_ENTRY_SIZE> jnlEntry(const EventText& event);

/** A front panel entry as the event-description library fills it in. */
std::array<uint8_t, LCD_ENTRY_SIZE> lcdEntry(uint8_t ledState,
                                             const std::string& text);

struct RecordingSel
{
    /** The entries of the log in the data cache. */
    std::map<std::string, SELEntryProperties> entries;
    /** The record identifier of the next stored record. */
    uint32_t nextRecordId = 1;

    /** The journal entries by record; the library refuses other records with 1.
     */
    std::map<Bytes, std::array<uint8_t, JNL_ENTRY_SIZE>> messages;
    /** The front panel entries by record; the library fills in nothing for
     *  other records. */
    std::map<Bytes, std::array<uint8_t, LCD_ENTRY_SIZE>> panels;
};

/** Bytes as the journal shows them: two hexadecimal digits each. */
std::string text(const Bytes& bytes);

} // namespace healthintf::test
