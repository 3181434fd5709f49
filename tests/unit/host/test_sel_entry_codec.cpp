// SPDX-License-Identifier: Apache-2.0
#include "data_cache/sel_entry_codec.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace healthintf::host
{
namespace
{

SELEntryProperties sample()
{
    SELEntryProperties entry;
    entry.recordId = 0x1234;
    entry.timestamp = 1'700'000'000;
    entry.sensor = {"Fan 7", "/sensors/fan7", 20, 255};
    for (std::size_t i = 0; i < entry.record.size(); ++i)
    {
        entry.record[i] = static_cast<uint8_t>(0xf0 + i);
    }
    return entry;
}

void expectTheSame(const SELEntryProperties& given,
                   const SELEntryProperties& expected)
{
    EXPECT_EQ(given.recordId, expected.recordId);
    EXPECT_EQ(given.timestamp, expected.timestamp);
    EXPECT_EQ(given.record, expected.record);
    EXPECT_EQ(given.sensor.name, expected.sensor.name);
    EXPECT_EQ(given.sensor.path, expected.sensor.path);
    EXPECT_EQ(given.sensor.firstByte, expected.sensor.firstByte);
    EXPECT_EQ(given.sensor.secondByte, expected.sensor.secondByte);
}

TEST(SelEntryCodec, GivesBackEveryProperty)
{
    expectTheSame(decodeSelEntry(encodeSelEntry(sample())), sample());
    expectTheSame(decodeSelEntry(encodeSelEntry({})), {});
}

TEST(SelEntryCodec, RefusesTooFewBytes)
{
    const std::string bytes = encodeSelEntry(sample());
    for (std::size_t size = 0; size < bytes.size(); ++size)
    {
        EXPECT_THROW(decodeSelEntry(std::string_view(bytes).substr(0, size)),
                     std::out_of_range)
            << size;
    }
}

} // namespace
} // namespace healthintf::host
