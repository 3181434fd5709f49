// SPDX-License-Identifier: Apache-2.0
#include "history/history_record.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <functional>
#include <system_error>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;
using testing::ElementsAre;

class ReceivedRecord : public testing::Test
{
  protected:
    /** Reads a record from a message as it would be received.
     *
     *  @param[in] append appends the members of a{sv} */
    HistoryRecord read(const std::function<void(sd_bus_message*)>& append)
    {
        sd_bus_message* raw = nullptr;
        checkBus("new", sd_bus_message_new_signal(connection.get(), &raw, "/a",
                                                  "a.b", "C"));
        const MessagePtr message(raw);
        append(raw);
        checkBus("seal", sd_bus_message_seal(raw, 1, 0));
        checkBus("rewind", sd_bus_message_rewind(raw, 1));
        return readHistoryRecord(raw);
    }

    test::PrivateBus bus;
    BusPtr connection = host::openDefaultBus();
};

TEST_F(ReceivedRecord, HasTheMembersOfTheMessage)
{
    const HistoryRecord record = read([](sd_bus_message* message) {
        checkBus("append",
                 sd_bus_message_append(
                     message, "a{sv}", 19, "Sequence", "t", uint64_t{7}, "Time",
                     "x", int64_t{-8}, "Kind", "s", "cleared", "Component", "s",
                     "/a", "Entry", "s", "/a/entry/1", "MessageID", "s", "I",
                     "Args", "as", 2, "one", "two", "Message", "s", "M",
                     "Severity", "u", 4U, "SensorPath", "s", "/s",
                     "SensorNumber", "u", 5U, "SensorType", "u", 6U, "Process",
                     "s", "fand", "ProcessID", "u", 12U, "User", "u", 0U,
                     "Lasted", "x", int64_t{9}, "Occurrence", "t", uint64_t{3},
                     "Missed", "b", 1, "Comment", "s", "C"));
    });
    EXPECT_EQ(record.sequence, 7U);
    EXPECT_EQ(record.time, -8);
    EXPECT_EQ(record.kind, "cleared");
    EXPECT_EQ(record.component, "/a");
    EXPECT_EQ(record.entry, "/a/entry/1");
    EXPECT_EQ(record.messageId, "I");
    EXPECT_THAT(record.args, ElementsAre("one", "two"));
    EXPECT_EQ(record.message, "M");
    EXPECT_EQ(record.severity, 4U);
    EXPECT_EQ(record.sensorPath, "/s");
    EXPECT_EQ(record.sensorNumber, 5U);
    EXPECT_EQ(record.sensorType, 6U);
    EXPECT_EQ(record.process, "fand");
    EXPECT_EQ(record.pid, 12U);
    EXPECT_EQ(record.user, 0U);
    EXPECT_EQ(record.lasted, 9);
    EXPECT_EQ(record.occurrence, 3U);
    EXPECT_TRUE(record.missed);
    EXPECT_EQ(record.comment, "C");
}

TEST_F(ReceivedRecord, MayLackMembersAndHaveOthers)
{
    const HistoryRecord record = read([](sd_bus_message* message) {
        checkBus("append", sd_bus_message_append(
                               message, "a{sv}", 2, "OfALaterVersion", "a{sv}",
                               1, "a", "s", "b", "Kind", "s", "shown"));
    });
    EXPECT_EQ(record.kind, "shown");
    EXPECT_EQ(record.sequence, 0U);
    EXPECT_EQ(record.user, std::nullopt);
    EXPECT_EQ(record.lasted, std::nullopt);
}

TEST_F(ReceivedRecord, MustHaveTheTypesOfTheProtocol)
{
    for (const char* member : {"Sequence", "Time", "Kind", "Args", "Severity",
                               "Lasted", "Missed", "Comment"})
    {
        EXPECT_THROW(read([member](sd_bus_message* message) {
                         checkBus("append",
                                  sd_bus_message_append(message, "a{sv}", 1,
                                                        member, "d", 1.0));
                     }),
                     std::system_error)
            << member;
    }
    EXPECT_THROW(read([](sd_bus_message* message) {
                     checkBus("append",
                              sd_bus_message_append(message, "s", "none"));
                 }),
                 std::system_error);
    EXPECT_THROW(read([](sd_bus_message*) {}), std::system_error);
}

TEST(HistoryKinds, AreAppearancesAndEndsAndOthers)
{
    int appearances = 0;
    int ends = 0;
    for (const char* kind : historyKinds)
    {
        appearances += isAppearance(kind) ? 1 : 0;
        ends += isEnd(kind) ? 1 : 0;
    }
    EXPECT_EQ(appearances, 2);
    EXPECT_EQ(ends, 4);
    EXPECT_FALSE(isAppearance("of-a-later-version"));
    EXPECT_FALSE(isEnd("of-a-later-version"));
}

} // namespace
} // namespace healthintf::healthctl
