// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "direct_connection.hpp"
#include "list_question.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace healthintf::exporter
{
namespace
{

using test::Child;

/** Appends a list to a reply. */
using List = std::function<int(sd_bus_message*)>;

int takeListQuestion(sd_bus_message* question, void* context,
                     sd_bus_error* /*error*/)
{
    if (sd_bus_message_is_method_call(question, "test.Interface", "List") <= 0)
    {
        return 0;
    }
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(question, &reply);
    const test::MessagePtr owned(reply);
    (*static_cast<List*>(context))(reply);
    return sd_bus_send(nullptr, reply, nullptr) < 0 ? -1 : 1;
}

std::unique_ptr<sd_bus, test::Unref> openTestBus()
{
    sd_bus* bus = nullptr;
    sd_bus_open(&bus);
    return std::unique_ptr<sd_bus, test::Unref>(bus);
}

/** A process that owns healthmgr's name and gives this answer. */
Child healthmgr(List list)
{
    return Child([list](const Child::Parent& parent) mutable {
        const auto bus = openTestBus();
        sd_bus_add_filter(bus.get(), nullptr, takeListQuestion, &list);
        sd_bus_request_name(bus.get(), "com.vexa.olvar.healthmgr", 0);
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

class ListQuestionTest : public testing::Test
{
  protected:
    /** The length that is found when healthmgr gives this answer. */
    std::optional<uint64_t> foundIn(const List& list)
    {
        Child manager = healthmgr(list);
        manager.hear();
        return question.ask(bus.get());
    }

    test::PrivateBus daemon;
    std::unique_ptr<sd_bus, test::Unref> bus = openTestBus();
    ListQuestion question{"test.Interface", "List"};
};

TEST_F(ListQuestionTest, FindsTheLengthOfTheList)
{
    EXPECT_EQ(foundIn([](sd_bus_message* reply) {
                  return sd_bus_message_append(
                      reply, "aa{sv}", 2, 1, "Id", "t", uint64_t{1}, 2, "Id",
                      "t", uint64_t{2}, "Comment", "s", "two");
              }),
              2);
}

TEST_F(ListQuestionTest, FindsThatTheListIsEmpty)
{
    EXPECT_EQ(foundIn([](sd_bus_message* reply) {
                  return sd_bus_message_append(reply, "aa{sv}", 0);
              }),
              0);
}

TEST_F(ListQuestionTest, FindsNothingInAnotherAnswer)
{
    EXPECT_FALSE(foundIn([](sd_bus_message* reply) {
        return sd_bus_message_append(reply, "s", "none");
    }));
    EXPECT_FALSE(foundIn([](sd_bus_message*) {
        return 0;
    }));
}

TEST_F(ListQuestionTest, FindsNothingWithoutHealthManagerOrBus)
{
    EXPECT_FALSE(question.ask(bus.get()));
    EXPECT_FALSE(question.ask(nullptr));
}

} // namespace
} // namespace healthintf::exporter
