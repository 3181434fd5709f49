// SPDX-License-Identifier: Apache-2.0
#include "sel_entry_codec.hpp"

#include "byte_codec.hpp"

namespace healthintf::host
{

std::string encodeSelEntry(const SELEntryProperties& entry)
{
    std::string payload;
    constexpr std::size_t usualSize = 256;
    payload.reserve(usualSize);
    ByteWriter writer(payload);
    writer.put(entry.recordId);
    writer.put(entry.timestamp);
    writer.put(entry.record);
    writer.put(entry.sensor.firstByte);
    writer.put(entry.sensor.secondByte);
    writer.put(entry.sensor.name);
    writer.put(entry.sensor.path);
    return payload;
}

SELEntryProperties decodeSelEntry(std::string_view payload)
{
    ByteReader reader(payload);
    SELEntryProperties entry;
    entry.recordId = reader.get<uint16_t>();
    entry.timestamp = reader.get<uint32_t>();
    entry.record = reader.getBytes<SELInterface::recordSize>();
    entry.sensor.firstByte = reader.get<uint8_t>();
    entry.sensor.secondByte = reader.get<uint8_t>();
    entry.sensor.name = reader.getText();
    entry.sensor.path = reader.getText();
    return entry;
}

} // namespace healthintf::host
