// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Builds log entries for tests of the commands that show them. */

#include <sel/sel_filter.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace healthintf::healthctl
{

/** The record of an event; its sensor number is its identifier. */
inline RawRecord recordOfEvent(uint16_t id, uint32_t time, uint8_t sensorType)
{
    const auto byte = [](uint32_t value) {
        return static_cast<uint8_t>(value & 0xFF);
    };
    return {byte(id),
            byte(id >> 8),
            0x02,
            byte(time),
            byte(time >> 8),
            byte(time >> 16),
            byte(time >> 24),
            0x20,
            0x00,
            0x04,
            sensorType,
            0x07,
            0x01,
            0x57,
            0x11,
            0x22};
}

inline SELEntry_gen makeEntry(const RawRecord& record,
                              SELInterface::SensorInfo sensor = {})
{
    return SELEntry_gen(
        {.recordId = readId(record),
         .timestamp = hasTime(record) ? describeTime(record) : 0,
         .sensor = std::move(sensor),
         .record = record});
}

inline ReadEvent makeEvent(uint16_t id, uint32_t time, uint8_t sensorType,
                           std::optional<EventWords> words = std::nullopt)
{
    return {makeEntry(recordOfEvent(id, time, sensorType)), std::move(words)};
}

} // namespace healthintf::healthctl
