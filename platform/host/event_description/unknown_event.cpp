// SPDX-License-Identifier: Apache-2.0
#include "unknown_event.hpp"

#include "event_record.hpp"

namespace healthintf::host
{
namespace
{

constexpr const char* category = "UNK";
constexpr uint8_t firstOemSensorType = 0xC0;
constexpr uint8_t firstOemEventType = 0x70;

/** A byte as two hexadecimal digits. */
std::string digits(uint8_t byte)
{
    return hexByte(byte).substr(2);
}

/** An offset as one hexadecimal digit. */
std::string digit(uint8_t offset)
{
    return digits(offset).substr(1);
}

} // namespace

std::string unknownId(const EventRecord& record)
{
    return category + digits(record.sensorType) + digits(record.eventType) +
           digit(record.offset) + (record.asserted ? "A" : "D");
}

std::string unknownRecordId(const EventRecord& record)
{
    return std::string(category) + "R" + digits(record.recordType);
}

SensorType unknownSensorType(uint8_t code)
{
    const bool oem = code >= firstOemSensorType;
    return {.name = (oem ? "OEM type " : "Unknown type ") + hexByte(code),
            .category = category,
            .component = (oem ? "Oem" : "Unknown") + digits(code),
            .states = {}};
}

EventMessage unknownMessage(const EventRecord& record)
{
    const EventSeverity severity =
        record.asserted ? EventSeverity::warning : EventSeverity::informational;
    const std::string state =
        (record.eventType >= firstOemEventType ? "OEM event type "
                                               : "event type ") +
        hexByte(record.eventType) + ", offset " + hexByte(record.offset);
    return {.id = {},
            .severity = severity,
            .text =
                record.asserted
                    ? "{sensor} has a state of unknown meaning: " + state + "."
                    : "{sensor} left a state of unknown meaning: " + state +
                          ".",
            .lcd = record.asserted ? "{category} {number} unknown event"
                                   : "{category} {number} unknown ended",
            .ledState = defaultLedState(severity)};
}

} // namespace healthintf::host
