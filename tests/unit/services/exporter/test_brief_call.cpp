// SPDX-License-Identifier: Apache-2.0
#include "brief_call.hpp"
#include "child.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

namespace healthintf::exporter
{
namespace
{

using test::Child;

BusPtr openBus()
{
    sd_bus* bus = nullptr;
    sd_bus_open(&bus);
    return BusPtr(bus);
}

class BriefCallTest : public testing::Test
{
  protected:
    /** A process that owns the service's name and runs @p work. */
    static Child service(const std::function<void(sd_bus*)>& work)
    {
        return Child([work](const Child::Parent& parent) {
            const BusPtr own = openBus();
            sd_bus_request_name(own.get(), "x.service", 0);
            parent.tell("ready");
            work(own.get());
            return 0;
        });
    }

    test::PrivateBus daemon;
    BusPtr bus = openBus();
    BriefCall ping{{.service = "x.service",
                    .path = "/",
                    .interface = "org.freedesktop.DBus.Peer",
                    .member = "Ping"}};
};

TEST_F(BriefCallTest, ReturnsTheReplyOfARunningService)
{
    Child willing = service([](sd_bus* own) {
        while (sd_bus_process(own, nullptr) >= 0)
        {
            sd_bus_wait(own, UINT64_MAX);
        }
    });
    willing.hear();
    EXPECT_NE(ping.make(bus.get()), nullptr);
    willing.kill();
    EXPECT_EQ(ping.make(bus.get()), nullptr);
}

TEST_F(BriefCallTest, PassesItsArgument)
{
    BriefCall question({.service = "org.freedesktop.DBus",
                        .path = "/org/freedesktop/DBus",
                        .interface = "org.freedesktop.DBus",
                        .member = "NameHasOwner",
                        .argument = "org.freedesktop.DBus"});
    const MessagePtr answer = question.make(bus.get());
    ASSERT_NE(answer, nullptr);
    int has = 0;
    EXPECT_GT(sd_bus_message_read(answer.get(), "b", &has), 0);
    EXPECT_NE(has, 0);
}

TEST_F(BriefCallTest, ReturnsNothingWithoutServiceOrBus)
{
    EXPECT_EQ(ping.make(bus.get()), nullptr);
    EXPECT_EQ(ping.make(nullptr), nullptr);
}

TEST_F(BriefCallTest, ReturnsNothingForAnErrorReply)
{
    BriefCall unknown({.service = "org.freedesktop.DBus",
                       .path = "/org/freedesktop/DBus",
                       .interface = "org.freedesktop.DBus",
                       .member = "Nothing"});
    EXPECT_EQ(unknown.make(bus.get()), nullptr);
}

TEST_F(BriefCallTest, WaitsBrieflyAndThenPausesItsCalls)
{
    Child stuck = service([](sd_bus*) {
        Child::Parent::waitForever();
    });
    stuck.hear();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ping.make(bus.get()), nullptr);
    const auto waited = std::chrono::steady_clock::now();
    EXPECT_GE(waited - begin, BriefCall::patience);
    for (int i = 0; i < 50; ++i)
    {
        EXPECT_EQ(ping.make(bus.get()), nullptr);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - waited,
              BriefCall::patience * 5);
}

} // namespace
} // namespace healthintf::exporter
