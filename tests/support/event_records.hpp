// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Builds event records, and describes them with the platform's library.
 */

#include <platform/event_description.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{

using Record = std::array<uint8_t, 16>;

/** The fields in which the tests' events differ. */
struct SensorEvent
{
    unsigned int sensorType;
    unsigned int eventType;
    unsigned int offset;
    bool asserted = true;
    unsigned int sensorNumber = 0x30;
    /** The upper half of event data 1: says what the other data bytes hold. */
    unsigned int use = 0;
    unsigned int data2 = 0xFF;
    unsigned int data3 = 0xFF;
};

/** The event record in the layout of IPMI 2.0. */
inline Record makeRecord(const SensorEvent& event)
{
    const auto byte = [](unsigned int value) {
        return static_cast<uint8_t>(value);
    };
    return {0x01,
            0x00,
            0x02,
            0x80,
            0x51,
            0x01,
            0x65,
            0x20,
            0x00,
            0x04,
            byte(event.sensorType),
            byte(event.sensorNumber),
            byte(event.eventType | (event.asserted ? 0x00 : 0x80)),
            byte(event.use | event.offset),
            byte(event.data2),
            byte(event.data3)};
}

/** The record in hexadecimal digits. */
inline std::string formatDigits(const Record& record)
{
    std::array<char, 2 * sizeof(Record) + 1> digits{};
    for (std::size_t i = 0; i < record.size(); ++i)
    {
        std::snprintf(&digits.at(2 * i), 3, "%02x", record[i]);
    }
    return digits.data();
}

/** The fields of a description that the library reads. */
struct Described
{
    unsigned int severity;
    std::string id;
    std::string text;
    std::vector<std::string> arguments;
    std::string component;
    unsigned int ledState;
    std::string lcd;
};

inline void throwUnlessZero(int result)
{
    if (result != 0)
    {
        throw std::runtime_error("no description: " + std::to_string(result));
    }
}

/** Describes a record; the caller must be attached. */
inline Described describe(const Record& record)
{
    std::array<char, JNL_ENTRY_SIZE> entry{};
    std::array<char, LCD_ENTRY_SIZE> lcd{};
    throwUnlessZero(TransformSELEventToJNLEntry(record.data(), entry.data()));
    throwUnlessZero(TransformSELEventToLCD(record.data(), lcd.data()));
    const auto byte = [](char value) {
        return static_cast<unsigned int>(static_cast<unsigned char>(value));
    };
    const char* start = entry.data();
    Described described{.severity =
                            byte(start[JNL_ENTRY_SEVERITY_OFFSET]) +
                            byte(start[JNL_ENTRY_SEVERITY_OFFSET + 1]) * 256,
                        .id = start + JNL_ENTRY_MESSAGE_ID_OFFSET,
                        .text = start + JNL_ENTRY_MESSAGE_OFFSET,
                        .arguments = {},
                        .component = start + JNL_ENTRY_DESCRIPTION_OFFSET,
                        .ledState = byte(lcd[LCD_ENTRY_LED_STATE_OFFSET]),
                        .lcd = lcd.data() + LCD_ENTRY_TEXT_OFFSET};
    for (unsigned int i = 0; i < byte(start[JNL_ENTRY_ARGUMENT_COUNT_OFFSET]);
         ++i)
    {
        described.arguments.emplace_back(start + JNL_ENTRY_ARGUMENTS_OFFSET +
                                         i * JNL_ENTRY_ARGUMENT_SIZE);
    }
    return described;
}

inline Described describe(const SensorEvent& event)
{
    return describe(makeRecord(event));
}

/** Attaches to the event-description library until its end of scope. */
class Attached
{
  public:
    Attached() : result(IPMI_SELCSSDSELAttach())
    {}
    ~Attached()
    {
        IPMI_SELCSSDSELDetach();
    }
    Attached(const Attached&) = delete;
    Attached& operator=(const Attached&) = delete;

    const int result;
};

} // namespace healthintf::test
