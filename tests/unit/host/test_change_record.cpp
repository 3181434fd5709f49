// SPDX-License-Identifier: Apache-2.0
#include "config_manager/change_record.hpp"

#include <platform/config_manager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace healthintf::host
{
namespace
{

using Record = std::vector<uint8_t>;

constexpr std::size_t fieldsSize = 56;

/** A record with a source offset, and some bytes after its fields. */
Record recordWith(uint32_t sourceOffset, const std::string& rest = "")
{
    Record record(fieldsSize + rest.size());
    for (std::size_t i = 0; i < 4; ++i)
    {
        record[CFGMGR_CHANGE_SOURCE_OFFSET + i] = sourceOffset >> (8 * i);
    }
    std::ranges::copy(rest, record.begin() + fieldsSize);
    return record;
}

const char* nameSource(const Record& record)
{
    return findSource(record.data(), record.size());
}

const std::string me("me\0", 3);

TEST(ChangeRecord, HoldsTheValuesAsLittleEndianNumbers)
{
    const Record record = encodeChange({0x01020304, -2}, "");
    ASSERT_EQ(record.size(), fieldsSize);
    const Record value(record.begin() + CFGMGR_CHANGE_NEW_VALUE_OFFSET,
                       record.begin() + CFGMGR_CHANGE_NEW_VALUE_OFFSET + 4);
    EXPECT_EQ(value, (Record{4, 3, 2, 1}));
    const Record previous(record.begin() + CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET,
                          record.end());
    EXPECT_EQ(previous, (Record{0xFE, 0xFF, 0xFF, 0xFF}));
}

TEST(ChangeRecord, GivesItsValuesBack)
{
    const Record record = encodeChange({0x01020304, -2}, "me");
    const auto change = decodeChange(record.data(), record.size());
    ASSERT_TRUE(change);
    EXPECT_EQ(change->value, 0x01020304);
    EXPECT_EQ(change->previous, -2);
    EXPECT_FALSE(decodeChange(record.data(), fieldsSize - 1));
    EXPECT_FALSE(decodeChange(nullptr, fieldsSize));
}

TEST(ChangeRecord, NamesItsSourceAfterTheFields)
{
    const Record record = encodeChange({1, 0}, "me");
    EXPECT_EQ(record.size(), fieldsSize + 3);
    EXPECT_EQ(record[CFGMGR_CHANGE_SOURCE_OFFSET], fieldsSize);
    EXPECT_STREQ(nameSource(record), "me");
}

TEST(ChangeRecord, HasTheOffsetZeroWithoutASource)
{
    const Record record = encodeChange({1, 0}, "");
    EXPECT_EQ(record[CFGMGR_CHANGE_SOURCE_OFFSET], 0);
    EXPECT_STREQ(nameSource(record), "");
}

TEST(ChangeRecord, IsRefusedWhenItIsTooShortForItsFields)
{
    for (std::size_t length = 0; length < fieldsSize; ++length)
    {
        // Allocated with the exact size, so that reading beyond it is noticed.
        const Record record(length);
        EXPECT_EQ(nameSource(record), nullptr) << length;
    }
    EXPECT_STREQ(nameSource(Record(fieldsSize)), "");
    EXPECT_EQ(findSource(nullptr, fieldsSize), nullptr);
}

TEST(ChangeRecord, IsRefusedWhenItsSourceIsOutside)
{
    for (const uint32_t offset : {59U, 60U, 1000U, 0x7FFFFFFFU, 0xFFFFFFFFU})
    {
        EXPECT_EQ(nameSource(recordWith(offset, me)), nullptr) << offset;
    }
    EXPECT_EQ(nameSource(recordWith(fieldsSize)), nullptr)
        << "the record ends there";
}

TEST(ChangeRecord, IsRefusedWhenItsSourceIsWithinTheFields)
{
    for (const uint32_t offset : {1U, 36U, 55U})
    {
        EXPECT_EQ(nameSource(recordWith(offset, me)), nullptr) << offset;
    }
}

TEST(ChangeRecord, IsRefusedWhenItsSourceDoesNotEnd)
{
    EXPECT_EQ(nameSource(recordWith(fieldsSize, "me")), nullptr);
    EXPECT_EQ(nameSource(recordWith(fieldsSize + 3, me + "me")), nullptr);
}

TEST(ChangeRecord, MayHaveItsSourceAnywhereBehindTheFields)
{
    EXPECT_STREQ(nameSource(recordWith(fieldsSize + 2, "xx" + me + "yy")),
                 "me");
    EXPECT_STREQ(nameSource(recordWith(fieldsSize + 2, me)), "")
        << "its last byte";
}

} // namespace
} // namespace healthintf::host
