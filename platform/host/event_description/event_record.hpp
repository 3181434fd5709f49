#pragma once

/** @file The fields of an event record of the System Event Log. */

#include <cstdint>
#include <optional>
#include <string>

namespace healthintf::host
{

/** The record type of events; others are not about a sensor. */
inline constexpr uint8_t systemEventRecord = 0x02;

/** The event types that the table and the records name apart: of a reading
 *  that meets a threshold, and of the sensor type's own states. */
inline constexpr uint8_t thresholdEvent = 0x01;
inline constexpr uint8_t sensorSpecificEvent = 0x6F;

/** One of the values of an event that a record may carry. */
using OptionalByte = std::optional<uint8_t>;

/** What the 16 bytes of a record say, as IPMI 2.0 has them. */
struct EventRecord
{
    uint8_t recordType = 0;
    uint8_t sensorType = 0;
    uint8_t sensorNumber = 0;
    /** The event/reading type code. */
    uint8_t eventType = 0;
    bool asserted = false;
    /** Which state of the event type it is about. */
    uint8_t offset = 0;
    /** Of a threshold event the reading and the threshold, both raw. */
    OptionalByte reading = std::nullopt;
    OptionalByte threshold = std::nullopt;
    /** Of another event what event data 2 and 3 hold for its state. */
    OptionalByte extension2 = std::nullopt;
    OptionalByte extension3 = std::nullopt;
};

/** @param[in] record 16 bytes */
EventRecord decodeRecord(const uint8_t* record);

/** A byte as people write it: 0x5A. */
std::string hexByte(uint8_t byte);

} // namespace healthintf::host
