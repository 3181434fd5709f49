// SPDX-License-Identifier: Apache-2.0
#include "event_entries.hpp"

#include "../message_registry/message_arguments.hpp"
#include "described_event.hpp"

#include <platform/event_description.h>
#include <platform/utf8.hpp>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace healthintf::host
{
namespace
{

/** Writes a text and its NUL into a field; cuts the text if it is too long. */
void put(char* field, std::size_t size, std::string_view text)
{
    const std::string_view fitting = truncateUtf8(text, size - 1);
    std::memcpy(field, fitting.data(), fitting.size());
    field[fitting.size()] = '\0';
}

} // namespace

void writeJournalEntry(const DescribedEvent& event, char* entry)
{
    const auto severity = static_cast<uint16_t>(event.severity);
    entry[JNL_ENTRY_SEVERITY_OFFSET] = static_cast<char>(severity & 0xFF);
    entry[JNL_ENTRY_SEVERITY_OFFSET + 1] = static_cast<char>(severity >> 8);
    put(entry + JNL_ENTRY_MESSAGE_ID_OFFSET, JNL_ENTRY_MESSAGE_ID_SIZE,
        event.id);
    put(entry + JNL_ENTRY_MESSAGE_OFFSET, JNL_ENTRY_MESSAGE_SIZE, event.text);
    const std::size_t count =
        std::min<std::size_t>(event.arguments.size(), JNL_ENTRY_MAX_ARGUMENTS);
    entry[JNL_ENTRY_ARGUMENT_COUNT_OFFSET] = static_cast<char>(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        put(entry + JNL_ENTRY_ARGUMENTS_OFFSET + i * JNL_ENTRY_ARGUMENT_SIZE,
            JNL_ENTRY_ARGUMENT_SIZE, event.arguments[i]);
    }
    put(entry + JNL_ENTRY_DESCRIPTION_OFFSET,
        JNL_ENTRY_SIZE - JNL_ENTRY_DESCRIPTION_OFFSET, event.component);
}

void writeLcdEntry(const DescribedEvent& event, char* entry)
{
    entry[LCD_ENTRY_LED_STATE_OFFSET] = static_cast<char>(event.ledState);
    put(entry + LCD_ENTRY_TEXT_OFFSET, LCD_ENTRY_SIZE - LCD_ENTRY_TEXT_OFFSET,
        event.lcd);
}

} // namespace healthintf::host
