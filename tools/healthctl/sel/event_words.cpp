// SPDX-License-Identifier: Apache-2.0
#include "event_words.hpp"

#include <platform/event_description.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace healthintf::healthctl
{
namespace
{

/** The text of a field: to its first NUL, or the field's end. */
template <std::size_t entrySize>
std::string textIn(const std::array<char, entrySize>& entry, std::size_t offset,
                   std::size_t size)
{
    const std::string_view field(entry.data() + offset, size);
    return std::string(field.substr(0, field.find('\0')));
}

template <std::size_t entrySize>
unsigned int byteIn(const std::array<char, entrySize>& entry,
                    std::size_t offset)
{
    return static_cast<unsigned char>(entry.at(offset));
}

std::vector<std::string>
argumentsIn(const std::array<char, JNL_ENTRY_SIZE>& entry)
{
    const std::size_t count =
        std::min<std::size_t>(byteIn(entry, JNL_ENTRY_ARGUMENT_COUNT_OFFSET),
                              JNL_ENTRY_MAX_ARGUMENTS);
    std::vector<std::string> arguments;
    for (std::size_t i = 0; i < count; ++i)
    {
        arguments.push_back(textIn(
            entry, JNL_ENTRY_ARGUMENTS_OFFSET + i * JNL_ENTRY_ARGUMENT_SIZE,
            JNL_ENTRY_ARGUMENT_SIZE));
    }
    return arguments;
}

} // namespace

std::string wordFor(EventSeverity severity)
{
    switch (severity)
    {
        case EventSeverity::critical:
            return "critical";
        case EventSeverity::warning:
            return "warning";
        case EventSeverity::informational:
            return "informational";
    }
    return "unknown";
}

EventDescriptions::EventDescriptions() : result(IPMI_SELCSSDSELAttach())
{}

EventDescriptions::~EventDescriptions()
{
    IPMI_SELCSSDSELDetach();
}

std::optional<EventWords>
EventDescriptions::describe(const RawRecord& record) const
{
    std::array<char, JNL_ENTRY_SIZE> entry{};
    std::array<char, LCD_ENTRY_SIZE> lcd{};
    if (!attached() ||
        TransformSELEventToJNLEntry(record.data(), entry.data()) != 0 ||
        TransformSELEventToLCD(record.data(), lcd.data()) != 0)
    {
        return std::nullopt;
    }
    return EventWords{
        .severity = static_cast<EventSeverity>(
            byteIn(entry, JNL_ENTRY_SEVERITY_OFFSET) |
            byteIn(entry, JNL_ENTRY_SEVERITY_OFFSET + 1) << 8),
        .messageId = textIn(entry, JNL_ENTRY_MESSAGE_ID_OFFSET,
                            JNL_ENTRY_MESSAGE_ID_SIZE),
        .text = textIn(entry, JNL_ENTRY_MESSAGE_OFFSET, JNL_ENTRY_MESSAGE_SIZE),
        .arguments = argumentsIn(entry),
        .component = textIn(entry, JNL_ENTRY_DESCRIPTION_OFFSET,
                            JNL_ENTRY_SIZE - JNL_ENTRY_DESCRIPTION_OFFSET),
        .ledState = static_cast<int>(byteIn(lcd, LCD_ENTRY_LED_STATE_OFFSET)),
        .lcd = textIn(lcd, LCD_ENTRY_TEXT_OFFSET,
                      LCD_ENTRY_SIZE - LCD_ENTRY_TEXT_OFFSET)};
}

} // namespace healthintf::healthctl
