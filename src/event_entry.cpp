// SPDX-License-Identifier: Apache-2.0
#include "event_entry.hpp"

#include <algorithm>
#include <cstddef>
#include <span>

namespace health_namespace::details
{
namespace
{

/** The text of a field up to its first NUL, or the whole field. */
std::string fieldText(std::span<const uint8_t> field)
{
    return {field.begin(), std::ranges::find(field, uint8_t{0})};
}

} // namespace

uint32_t JnlEntry::severity() const
{
    const uint32_t low = bytes[JNL_ENTRY_SEVERITY_OFFSET];
    const uint32_t high = bytes[JNL_ENTRY_SEVERITY_OFFSET + 1];
    return low | high << 8U;
}

std::string JnlEntry::messageId() const
{
    return fieldText(
        std::span(bytes)
            .subspan<JNL_ENTRY_MESSAGE_ID_OFFSET, JNL_ENTRY_MESSAGE_ID_SIZE>());
}

std::string JnlEntry::message() const
{
    return fieldText(
        std::span(bytes)
            .subspan<JNL_ENTRY_MESSAGE_OFFSET, JNL_ENTRY_MESSAGE_SIZE>());
}

std::vector<std::string> JnlEntry::arguments() const
{
    const std::size_t count = std::min<std::size_t>(
        bytes[JNL_ENTRY_ARGUMENT_COUNT_OFFSET], JNL_ENTRY_MAX_ARGUMENTS);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < count; ++i)
    {
        texts.push_back(fieldText(std::span(bytes).subspan(
            JNL_ENTRY_ARGUMENTS_OFFSET + i * JNL_ENTRY_ARGUMENT_SIZE,
            JNL_ENTRY_ARGUMENT_SIZE)));
    }
    return texts;
}

std::string JnlEntry::description() const
{
    return fieldText(std::span(bytes).subspan<JNL_ENTRY_DESCRIPTION_OFFSET>());
}

int32_t LcdEntry::ledState() const
{
    return bytes[LCD_ENTRY_LED_STATE_OFFSET];
}

std::string LcdEntry::text() const
{
    return fieldText(std::span(bytes).subspan<LCD_ENTRY_TEXT_OFFSET>());
}

} // namespace health_namespace::details
