// SPDX-License-Identifier: Apache-2.0
#include "data_cache/byte_codec.hpp"

#include <gtest/gtest.h>

#include <array>

namespace healthintf::host
{
namespace
{

TEST(ByteCodec, ReadsWhatItWrote)
{
    std::string bytes;
    ByteWriter writer(bytes);
    writer.put(uint8_t{1});
    writer.put(int32_t{-2});
    writer.put(uint64_t{1} << 40);
    writer.put(std::string_view("text"));
    writer.put(std::string_view(""));
    writer.put(std::array<uint8_t, 3>{7, 8, 9});

    ByteReader reader(bytes);
    EXPECT_EQ(reader.get<uint8_t>(), 1);
    EXPECT_EQ(reader.get<int32_t>(), -2);
    EXPECT_EQ(reader.get<uint64_t>(), uint64_t{1} << 40);
    EXPECT_EQ(reader.getText(), "text");
    EXPECT_EQ(reader.getText(), "");
    EXPECT_EQ(reader.getBytes<3>(), (std::array<uint8_t, 3>{7, 8, 9}));
    EXPECT_THROW(reader.get<uint8_t>(), std::out_of_range);
}

TEST(ByteCodec, ThrowsWhereTheBytesEnd)
{
    EXPECT_THROW(ByteReader("abc").get<uint32_t>(), std::out_of_range);
    EXPECT_THROW(ByteReader("").getText(), std::out_of_range);
    EXPECT_THROW(ByteReader("abc").getBytes<4>(), std::out_of_range);
    std::string bytes;
    ByteWriter(bytes).put(uint32_t{UINT32_MAX});
    EXPECT_THROW(ByteReader(bytes).getText(), std::out_of_range);
}

} // namespace
} // namespace healthintf::host
