// SPDX-License-Identifier: Apache-2.0
#include "member_writer.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace
{

using healthintf::BusPtr;
using healthintf::MessagePtr;
using healthintf::host::checkBus;
using healthintf::host::MemberWriter;
using testing::ElementsAre;
using testing::StrEq;

/** A message of a connection whose other end says nothing. */
class MapInAMessage : public testing::Test
{
  protected:
    MapInAMessage()
    {
        sd_bus* made = nullptr;
        checkBus("sd_bus_new", sd_bus_new(&made));
        connection.reset(made);
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
        otherEnd = ends[1];
        checkBus("sd_bus_set_fd", sd_bus_set_fd(made, ends[0], ends[0]));
        checkBus("sd_bus_start", sd_bus_start(made));
        sd_bus_message* raw = nullptr;
        checkBus("sd_bus_message_new_signal",
                 sd_bus_message_new_signal(made, &raw, "/a", "a.b", "C"));
        message.reset(raw);
    }

    ~MapInAMessage() override
    {
        close(otherEnd);
    }

    /** Lets the message be read from its beginning. */
    sd_bus_message* received()
    {
        checkBus("sd_bus_message_seal",
                 sd_bus_message_seal(message.get(), 1, 0));
        checkBus("sd_bus_message_rewind",
                 sd_bus_message_rewind(message.get(), 1));
        return message.get();
    }

    int otherEnd = -1;
    BusPtr connection;
    MessagePtr message;
};

TEST_F(MapInAMessage, IsEmptyWithoutMembers)
{
    MemberWriter(message.get()).finish();
    EXPECT_STREQ(sd_bus_message_get_signature(message.get(), 1), "a{sv}");
    ASSERT_GT(sd_bus_message_enter_container(received(), 'a', "{sv}"), 0);
    EXPECT_EQ(sd_bus_message_at_end(message.get(), 0), 1);
}

TEST_F(MapInAMessage, HasTheMembersInTheirOrder)
{
    MemberWriter members(message.get());
    members.add("Number", "t", uint64_t{1} << 40U);
    members.add("Text", "words");
    members.finish();

    std::array<const char*, 2> names{};
    uint64_t number = 0;
    const char* text = nullptr;
    ASSERT_GT(sd_bus_message_read(received(), "a{sv}", 2, &names[0], "t",
                                  &number, &names[1], "s", &text),
              0);
    EXPECT_THAT(names, ElementsAre(StrEq("Number"), StrEq("Text")));
    EXPECT_EQ(number, uint64_t{1} << 40U);
    EXPECT_STREQ(text, "words");
}

TEST_F(MapInAMessage, HasArraysOfTextsAndNumbers)
{
    MemberWriter members(message.get());
    members.addTexts("Texts", std::vector<std::string>{"one", ""});
    members.addNumbers("Numbers", std::set<uint32_t>{7, 4});
    members.addTexts("None", std::vector<std::string>{});
    members.finish();

    std::array<const char*, 3> names{};
    std::array<const char*, 2> texts{};
    std::array<uint32_t, 2> numbers{};
    ASSERT_GT(sd_bus_message_read(received(), "a{sv}", 3, &names[0], "as", 2,
                                  &texts[0], &texts[1], &names[1], "au", 2,
                                  &numbers[0], &numbers[1], &names[2], "as", 0),
              0);
    EXPECT_THAT(names,
                ElementsAre(StrEq("Texts"), StrEq("Numbers"), StrEq("None")));
    EXPECT_THAT(texts, ElementsAre(StrEq("one"), StrEq("")));
    EXPECT_THAT(numbers, ElementsAre(4U, 7U));
}

TEST_F(MapInAMessage, RefusesATextThatIsNotUtf8)
{
    MemberWriter members(message.get());
    EXPECT_THROW(members.add("Text", "\xff"), std::system_error);
}

} // namespace
