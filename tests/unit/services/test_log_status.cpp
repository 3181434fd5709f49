// SPDX-License-Identifier: Apache-2.0
#include "common/log_status.hpp"
#include "direct_connection.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <system_error>

namespace healthintf::services
{
namespace
{

using test::DirectConnection;
using test::MessagePtr;
using testing::HasSubstr;

/** Reads a log status from a message with these arguments, given as for
 *  sd_bus_message_append(). */
class LogStatusTest : public testing::Test
{
  protected:
    template <typename... Args>
    LogStatus readFrom(const char* types, Args... args)
    {
        sd_bus_message* raw = nullptr;
        sd_bus_message_new_signal(connection.raw(), &raw, "/log", "log.Test",
                                  "Properties");
        const MessagePtr message(raw);
        EXPECT_GE(sd_bus_message_append(raw, types, args...), 0);
        EXPECT_GE(sd_bus_message_seal(raw, 1, 0), 0);
        return readLogStatus(raw);
    }

    /** Reads all properties, with Entries in a variant of this type. */
    template <typename Entries>
    LogStatus readWithEntries(const char* type, Entries entries)
    {
        return readFrom("a{sv}", 9, "Entries", type, entries, "Capacity", "u",
                        4096, "OverflowPolicy", "s", "wrap", "Other", "as", 1,
                        "x", "Overflow", "b", 1, "LastAddition", "u",
                        1700000000, "LastErase", "u", 1600000000, "Generation",
                        "t", uint64_t{867369788018}, "LastEntry", "q", 7);
    }

    DirectConnection connection;
};

TEST_F(LogStatusTest, HasEveryProperty)
{
    const LogStatus status = readWithEntries("u", 3);
    EXPECT_EQ(status.entries, 3u);
    EXPECT_EQ(status.capacity, 4096u);
    EXPECT_EQ(status.policy, "wrap");
    EXPECT_TRUE(status.overflow);
    EXPECT_EQ(status.lastAddition, 1700000000u);
    EXPECT_EQ(status.lastErase, 1600000000u);
    EXPECT_EQ(status.generation, 867369788018u);
    EXPECT_EQ(status.lastEntry, 7u);
}

TEST_F(LogStatusTest, IsRefusedWithAPropertyOfAnotherType)
{
    EXPECT_THROW(readWithEntries("s", "three"), std::system_error);
    EXPECT_THROW(readWithEntries("t", uint64_t{3}), std::system_error);
}

TEST_F(LogStatusTest, IsRefusedWithoutAPropertyThatTheErrorNames)
{
    try
    {
        readFrom("a{sv}", 7, "Entries", "u", 3, "Capacity", "u", 4096,
                 "OverflowPolicy", "s", "wrap", "Overflow", "b", 1,
                 "LastAddition", "u", 1, "LastErase", "u", 1, "LastEntry", "q",
                 7);
        FAIL() << "an incomplete reply is taken";
    }
    catch (const std::system_error& e)
    {
        EXPECT_THAT(e.what(), HasSubstr("no property Generation"));
    }
}

TEST_F(LogStatusTest, IsRefusedWithoutProperties)
{
    EXPECT_THROW(readFrom("a{sv}", 0), std::system_error);
    EXPECT_THROW(readFrom("s", "none"), std::system_error);
    EXPECT_THROW(readFrom("as", 1, "Entries"), std::system_error);
    EXPECT_THROW(readFrom(""), std::system_error);
}

} // namespace
} // namespace healthintf::services
