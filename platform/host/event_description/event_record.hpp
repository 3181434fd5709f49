// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fields of an event record of the System Event Log. */

#include <cstdint>
#include <optional>
#include <string>

namespace healthintf::host
{

/** The record type of sensor events; other types are not about a sensor. */
inline constexpr uint8_t systemEventRecord = 0x02;

/** The event types with a special meaning: threshold events, and states that
 *  only one sensor type has. */
inline constexpr uint8_t thresholdEvent = 0x01;
inline constexpr uint8_t sensorSpecificEvent = 0x6F;

/** A value that only some records have. */
using OptionalByte = std::optional<uint8_t>;

/** The fields of the 16 bytes of an IPMI 2.0 record. */
struct EventRecord
{
    uint8_t recordType = 0;
    uint8_t sensorType = 0;
    uint8_t sensorNumber = 0;
    /** The event/reading type code. */
    uint8_t eventType = 0;
    bool asserted = false;
    /** The number of the state within the event type. */
    uint8_t offset = 0;
    /** The raw reading and the raw threshold of a threshold event. */
    OptionalByte reading = std::nullopt;
    OptionalByte threshold = std::nullopt;
    /** The extension codes in event data 2 and 3 of any other event. */
    OptionalByte extension2 = std::nullopt;
    OptionalByte extension3 = std::nullopt;
};

/** Decodes a record of 16 bytes. */
EventRecord decodeRecord(const uint8_t* record);

/** Writes a byte as two hexadecimal digits: 0x5A. */
std::string hexByte(uint8_t byte);

} // namespace healthintf::host
