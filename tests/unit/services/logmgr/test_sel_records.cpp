// SPDX-License-Identifier: Apache-2.0
#include "data_cache/sel_entry_codec.hpp"
#include "logmgr/sel_records.hpp"
#include "storage/damaged_file.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

namespace healthintf::logmgr
{
namespace
{

using testing::HasSubstr;

TEST(Identifiers, LeaveOutTheTwoReservedOnes)
{
    EXPECT_EQ(toIdentifier(0), 1);
    EXPECT_EQ(toIdentifier(65533), 65534);
    EXPECT_EQ(toIdentifier(65534), 1);
    EXPECT_EQ(toIdentifier(uint64_t{65534} * 1000 + 41), 42);
}

TEST(LogKeys, SortLikeTheEntries)
{
    EXPECT_LT(stateKey, encodeKey(0));
    EXPECT_LT(encodeKey(0), encodeKey(1));
    EXPECT_LT(encodeKey(255), encodeKey(256));
    EXPECT_LT(encodeKey(0x7fffffffffffffff), encodeKey(0x8000000000000000));
}

TEST(LogKeys, HoldTheSequenceNumber)
{
    for (const uint64_t sequence :
         {uint64_t{0}, uint64_t{0x0123456789abcdef}, ~uint64_t{0}})
    {
        EXPECT_EQ(decodeKey(encodeKey(sequence)), sequence);
    }
    EXPECT_THROW(decodeKey("short"), host::DamagedFile);
    EXPECT_THROW(decodeKey(encodeKey(1) + '\0'), host::DamagedFile);
}

TEST(LogState, IsReadAsItWasWritten)
{
    const StoredState stored = decodeState(encodeState({{5, 6, true}, 7}));
    EXPECT_EQ(stored.state.lastAddition, 5U);
    EXPECT_EQ(stored.state.lastErase, 6U);
    EXPECT_TRUE(stored.state.overflow);
    EXPECT_EQ(stored.generation, 7U);
}

TEST(LogState, HasNoGenerationInALogOfAnEarlierVersion)
{
    std::string value = encodeState({{5, 6, true}, 7});
    value.resize(value.size() - sizeof(uint64_t));
    const StoredState stored = decodeState(value);
    EXPECT_TRUE(stored.state.overflow);
    EXPECT_EQ(stored.generation, 0U);
}

TEST(LogState, IsRefusedWhenItIsTooShortOrOfAnotherVersion)
{
    EXPECT_THROW(decodeState(""), std::exception);
    EXPECT_THROW(decodeState(encodeState({}).substr(0, 9)), std::exception);
    std::string value = encodeState({});
    value[0] = 99;
    try
    {
        decodeState(value);
        ADD_FAILURE() << "read";
    }
    catch (const std::system_error& e)
    {
        EXPECT_EQ(e.code().value(), ENOTSUP);
        EXPECT_THAT(e.what(), HasSubstr("it is of version 99"));
    }
}

SELEntryProperties secondEntry()
{
    SELEntryProperties entry;
    entry.recordId = 2;
    entry.sensor.name = "L\u00fcfter";
    entry.sensor.path = "/sensors/fan7";
    return entry;
}

TEST(LogEntry, IsReadWithItsSequenceNumberOnly)
{
    const std::string value = host::encodeSelEntry(secondEntry());
    EXPECT_EQ(decodeEntry(1, value).sensor.name, "L\u00fcfter");
    EXPECT_EQ(decodeEntry(1 + identifiers, value).recordId, 2);
    EXPECT_THROW(decodeEntry(2, value), std::runtime_error);
    EXPECT_THROW(decodeEntry(1, "short"), std::exception);
}

TEST(LogEntry, IsRefusedWithATextThatDBusCannotCarry)
{
    for (const std::string& wrong : {std::string("\xff"), std::string(1, '\0')})
    {
        SELEntryProperties entry = secondEntry();
        entry.sensor.name += wrong;
        EXPECT_THROW(decodeEntry(1, host::encodeSelEntry(entry)),
                     std::runtime_error);
        entry = secondEntry();
        entry.sensor.path += wrong;
        EXPECT_THROW(decodeEntry(1, host::encodeSelEntry(entry)),
                     std::runtime_error);
    }
}

} // namespace
} // namespace healthintf::logmgr
