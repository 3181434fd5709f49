// SPDX-License-Identifier: Apache-2.0
#include "event_record.hpp"

#include <cstddef>
#include <string_view>

namespace healthintf::host
{
namespace
{

constexpr std::size_t recordTypeAt = 2;
constexpr std::size_t sensorTypeAt = 10;
constexpr std::size_t sensorNumberAt = 11;
constexpr std::size_t eventTypeAt = 12;
constexpr std::size_t eventDataAt = 13;

constexpr uint8_t deassertionBit = 0x80;
constexpr uint8_t offsetBits = 0x0F;

/** Values of the two bits in event data 1 that tell the meaning of event data 2
 *  or 3. */
constexpr uint8_t holdsValue = 1;
constexpr uint8_t holdsExtension = 3;

OptionalByte byteIf(bool given, uint8_t byte)
{
    return given ? OptionalByte(byte) : std::nullopt;
}

} // namespace

EventRecord decodeRecord(const uint8_t* record)
{
    const uint8_t* data = record + eventDataAt;
    const uint8_t use2 = data[0] >> 6;
    const uint8_t use3 = (data[0] >> 4) & 3;
    const uint8_t eventType = record[eventTypeAt] & ~deassertionBit;
    const bool threshold = eventType == thresholdEvent;
    return {.recordType = record[recordTypeAt],
            .sensorType = record[sensorTypeAt],
            .sensorNumber = record[sensorNumberAt],
            .eventType = eventType,
            .asserted = (record[eventTypeAt] & deassertionBit) == 0,
            .offset = static_cast<uint8_t>(data[0] & offsetBits),
            .reading = byteIf(threshold && use2 == holdsValue, data[1]),
            .threshold = byteIf(threshold && use3 == holdsValue, data[2]),
            .extension2 = byteIf(!threshold && use2 == holdsExtension, data[1]),
            .extension3 =
                byteIf(!threshold && use3 == holdsExtension, data[2])};
}

std::string hexByte(uint8_t byte)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    return {'0', 'x', digits[byte >> 4], digits[byte & 0x0F]};
}

} // namespace healthintf::host
