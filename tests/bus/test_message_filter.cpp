// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "common/connection.hpp"
#include "common/message_filter.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::services
{
namespace
{

using testing::ElementsAre;

/** A connection that listens and another one that sends. */
class FilteredMessages : public testing::Test
{
  protected:
    FilteredMessages()
    {
        sd_bus_add_match(connection.get(), nullptr,
                         "type='signal',interface='com.example.Any'", hear,
                         this);
    }

    static int hear(sd_bus_message* message, void* context,
                    sd_bus_error* /*error*/)
    {
        const char* text = nullptr;
        sd_bus_message_read(message, "s", &text);
        static_cast<FilteredMessages*>(context)->heard.emplace_back(text);
        return 0;
    }

    /** Sends a word and waits until the other connection has received it. */
    void send(const char* word)
    {
        sd_bus_emit_signal(client.get(), "/a", "com.example.Any", "Any", "s",
                           word);
        client.catchUp();
        bool passed = false;
        connection.afterBus([&] {
            passed = true;
        });
        while (!passed)
        {
            sd_event_run(loop.get(), UINT64_MAX);
        }
    }

    test::PrivateBus bus;
    test::BusClient client;
    EventLoop loop;
    Connection connection{loop};
    std::vector<std::string> heard;
};

TEST_F(FilteredMessages, AreReceivedFromTheStartUnlessTheFilterRefusesThem)
{
    const MessageFilter filter(connection.get(), [](sd_bus_message* message) {
        const char* word = "";
        return sd_bus_message_read(message, "s", &word) > 0 &&
               std::string(word) == "bad";
    });
    send("bad");
    send("good");
    EXPECT_THAT(heard, ElementsAre("good"));
}

TEST_F(FilteredMessages, AreReceivedWhenTheFilterThrows)
{
    const MessageFilter filter(connection.get(), [](sd_bus_message*) -> bool {
        throw std::runtime_error("broken");
    });
    testing::internal::CaptureStderr();
    send("good");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("broken"));
    EXPECT_THAT(heard, ElementsAre("good"));
}

TEST_F(FilteredMessages, AreReceivedWhenTheFilterIsGone)
{
    std::optional<MessageFilter> filter(std::in_place, connection.get(),
                                        [](sd_bus_message*) {
                                            return true;
                                        });
    send("refused");
    filter.reset();
    send("heard");
    EXPECT_THAT(heard, ElementsAre("heard"));
}

} // namespace
} // namespace healthintf::services
