// SPDX-License-Identifier: Apache-2.0
#include "recording_sel.hpp"

#include "recording_platform.hpp"
#include "recording_query.hpp"
#include "text.hpp"

#include <algorithm>
#include <cstddef>
#include <span>

namespace healthintf::test
{
namespace
{

template <std::size_t N>
void put(std::array<uint8_t, N>& entry, std::size_t offset, std::size_t size,
         const std::string& text)
{
    std::copy_n(text.begin(), std::min(text.size(), size),
                entry.begin() + static_cast<std::ptrdiff_t>(offset));
}

} // namespace

std::array<uint8_t, JNL_ENTRY_SIZE> jnlEntry(const EventText& event)
{
    std::array<uint8_t, JNL_ENTRY_SIZE> entry{};
    entry[JNL_ENTRY_SEVERITY_OFFSET] = static_cast<uint8_t>(event.severity);
    entry[JNL_ENTRY_SEVERITY_OFFSET + 1] =
        static_cast<uint8_t>(event.severity >> 8U);
    put(entry, JNL_ENTRY_MESSAGE_ID_OFFSET, JNL_ENTRY_MESSAGE_ID_SIZE,
        event.messageId);
    put(entry, JNL_ENTRY_MESSAGE_OFFSET, JNL_ENTRY_MESSAGE_SIZE, event.message);
    entry[JNL_ENTRY_ARGUMENT_COUNT_OFFSET] =
        event.argumentCount.value_or(static_cast<uint8_t>(event.args.size()));
    std::size_t offset = JNL_ENTRY_ARGUMENTS_OFFSET;
    for (const auto& arg : event.args)
    {
        put(entry, offset, JNL_ENTRY_ARGUMENT_SIZE, arg);
        offset += JNL_ENTRY_ARGUMENT_SIZE;
    }
    put(entry, JNL_ENTRY_DESCRIPTION_OFFSET,
        JNL_ENTRY_SIZE - JNL_ENTRY_DESCRIPTION_OFFSET, event.description);
    return entry;
}

std::array<uint8_t, LCD_ENTRY_SIZE> lcdEntry(uint8_t ledState,
                                             const std::string& text)
{
    std::array<uint8_t, LCD_ENTRY_SIZE> entry{};
    entry[LCD_ENTRY_LED_STATE_OFFSET] = ledState;
    put(entry, LCD_ENTRY_TEXT_OFFSET, LCD_ENTRY_SIZE - LCD_ENTRY_TEXT_OFFSET,
        text);
    return entry;
}

std::string text(const Bytes& bytes)
{
    constexpr const char* digits = "0123456789abcdef";
    std::string shown;
    for (const uint8_t byte : bytes)
    {
        shown += digits[byte >> 4U];
        shown += digits[byte & 0xfU];
    }
    return shown;
}

namespace
{

/** Answers one call of the event-description library. */
template <std::size_t N>
int describe(const char* call, const uint8_t* record, void* filled,
             const std::map<Bytes, std::array<uint8_t, N>>& known,
             int answerToUnknown)
{
    const std::span<uint8_t, N> entry(static_cast<uint8_t*>(filled), N);
    const Bytes bytes(record, record + SELInterface::recordSize);
    const bool zeroed = std::ranges::all_of(entry, [](uint8_t byte) {
        return byte == 0;
    });
    const auto found = known.find(bytes);
    const long result =
        journal().called(call, text(bytes) + (zeroed ? " zeroed" : " dirty"),
                         found == known.end() ? answerToUnknown : 0);
    if (found != known.end())
    {
        // The contract lets a failing library fill the entry with anything.
        std::ranges::copy(found->second, entry.begin());
    }
    return static_cast<int>(result);
}

} // namespace
} // namespace healthintf::test

using namespace healthintf::test;

uint32_t DataAbstraction::SEL::AddSEL(const std::string& service,
                                      const std::string& path,
                                      const Sensor& sensor,
                                      const std::vector<uint8_t>& record,
                                      const std::optional<uint32_t>& timestamp)
{
    const auto& [name, sensorPath, firstByte, secondByte] = sensor;
    const uint32_t recordId = platform().sel.nextRecordId;
    const auto answer = static_cast<uint32_t>(journal().called(
        "AddSEL",
        service + " " + path + " " + text(name) + " " + text(sensorPath) + " " +
            std::to_string(firstByte) + " " + std::to_string(secondByte) +
            " [" + text(record) + "] " +
            (timestamp ? std::to_string(*timestamp) : "now"),
        recordId));
    if (answer == recordId)
    {
        ++platform().sel.nextRecordId;
    }
    return answer;
}

long DataAbstraction::SELEntry::get_map_by_path_prefixes(
    const std::vector<std::string>& services,
    const std::vector<std::string>& prefixes,
    std::map<std::string, SELEntry_gen>& entries)
{
    // The path of the log selects all of its entries.
    const bool all =
        std::ranges::find(prefixes, "/com/vexa/olvar/logmgr/SEL") !=
        prefixes.end();
    return queryFor(
        "SELEntry.get_map_by_path_prefixes", services, prefixes,
        platform().sel.entries,
        [&](const std::string& path) {
            return all || selected(path, prefixes);
        },
        entries,
        [](const SELEntryProperties& properties) {
            return SELEntry_gen(properties);
        });
}

extern "C"
{
    int IPMI_SELCSSDSELAttach(void)
    {
        return static_cast<int>(journal().called("IPMI_SELCSSDSELAttach", ""));
    }

    int IPMI_SELCSSDSELDetach(void)
    {
        return static_cast<int>(journal().called("IPMI_SELCSSDSELDetach", ""));
    }

    int TransformSELEventToJNLEntry(const uint8_t* record, void* entry)
    {
        return describe("TransformSELEventToJNLEntry", record, entry,
                        platform().sel.messages, 1);
    }

    int TransformSELEventToLCD(const uint8_t* record, void* entry)
    {
        return describe("TransformSELEventToLCD", record, entry,
                        platform().sel.panels, 0);
    }

} // extern "C"
