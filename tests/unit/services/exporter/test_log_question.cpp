// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "direct_connection.hpp"
#include "log_question.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

namespace healthintf::exporter
{
namespace
{

using test::Child;
using test::MessagePtr;
using test::PrivateBus;

using BusPtr = std::unique_ptr<sd_bus, test::Unref>;

BusPtr openBus()
{
    sd_bus* bus = nullptr;
    sd_bus_open(&bus);
    return BusPtr(bus);
}

/** Appends the log's properties to a reply. */
using Answer = std::function<int(sd_bus_message*)>;

int takeQuestion(sd_bus_message* question, void* context,
                 sd_bus_error* /*error*/)
{
    if (sd_bus_message_is_method_call(question, nullptr, "GetAll") <= 0)
    {
        return 0;
    }
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(question, &reply);
    const MessagePtr owned(reply);
    (*static_cast<Answer*>(context))(reply);
    return sd_bus_send(nullptr, reply, nullptr) < 0 ? -1 : 1;
}

/** A process that owns logmgr's name and gives this answer. */
Child logmgr(Answer answer)
{
    return Child([answer](const Child::Parent& parent) mutable {
        const BusPtr bus = openBus();
        sd_bus_add_filter(bus.get(), nullptr, takeQuestion, &answer);
        sd_bus_request_name(bus.get(), "com.vexa.olvar.logmgr", 0);
        parent.tell("ready");
        for (;;)
        {
            while (sd_bus_process(bus.get(), nullptr) > 0)
            {}
            sd_bus_wait(bus.get(), UINT64_MAX);
        }
        return 0;
    });
}

class LogQuestionTest : public testing::Test
{
  protected:
    /** The status that is found when logmgr gives this answer. */
    std::optional<services::LogStatus> foundIn(const Answer& answer)
    {
        Child manager = logmgr(answer);
        manager.hear();
        return question.ask(bus.get());
    }

    PrivateBus daemon;
    BusPtr bus = openBus();
    LogQuestion question;
};

TEST_F(LogQuestionTest, FindsTheStatusOfTheLog)
{
    const auto status = foundIn([](sd_bus_message* reply) {
        return sd_bus_message_append(
            reply, "a{sv}", 8, "Entries", "u", 3, "Capacity", "u", 4096,
            "OverflowPolicy", "s", "wrap", "Overflow", "b", 1, "LastAddition",
            "u", 1700000000, "LastErase", "u", 1600000000, "Generation", "t",
            uint64_t{1}, "LastEntry", "q", 3);
    });
    ASSERT_TRUE(status);
    EXPECT_EQ(status->entries, 3u);
    EXPECT_EQ(status->policy, "wrap");
}

TEST_F(LogQuestionTest, FindsNothingInAnAnswerThatLacksAProperty)
{
    EXPECT_FALSE(foundIn([](sd_bus_message* reply) {
        return sd_bus_message_append(reply, "a{sv}", 2, "Entries", "u", 3,
                                     "Capacity", "u", 4096);
    }));
}

TEST_F(LogQuestionTest, FindsNothingInAMalformedAnswer)
{
    EXPECT_FALSE(foundIn([](sd_bus_message* reply) {
        return sd_bus_message_append(reply, "s", "none");
    }));
    EXPECT_FALSE(foundIn([](sd_bus_message*) {
        return 0;
    }));
}

TEST_F(LogQuestionTest, FindsNothingWithoutLogManagerOrBus)
{
    EXPECT_FALSE(question.ask(bus.get()));
    EXPECT_FALSE(question.ask(nullptr));
}

} // namespace
} // namespace healthintf::exporter
