// SPDX-License-Identifier: Apache-2.0
#include "common/self_call.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <cstdint>
#include <optional>

namespace healthintf::services
{
namespace
{

class CallToItself : public testing::Test
{
  protected:
    /** Runs the service until the bus has delivered what it sent, including its
     *  call to itself. */
    void work()
    {
        bool passed = false;
        connection.afterBus([&] {
            passed = true;
        });
        while (!passed)
        {
            sd_event_run(loop.get(), UINT64_MAX);
        }
        while (sd_event_run(loop.get(), 0) > 0)
        {}
    }

    test::PrivateBus bus;
    EventLoop loop;
    Connection connection{loop};
};

TEST_F(CallToItself, IsAnsweredWhileTheServiceProcessesMessages)
{
    SelfCall call(connection);
    EXPECT_TRUE(call.isAnswered()) << "none was made yet";
    while (!call.isAnswered())
    {
        work();
    }
    EXPECT_FALSE(call.isAnswered()) << "the next was made";
}

TEST_F(CallToItself, IsNotAnsweredWhileTheServiceProcessesNone)
{
    SelfCall call(connection);
    EXPECT_TRUE(call.isAnswered());
    EXPECT_FALSE(call.isAnswered());
    EXPECT_FALSE(call.isAnswered());
}

TEST_F(CallToItself, IsAnsweredByItsTimeoutWhileTheBusHangs)
{
    constexpr uint64_t soon = 50'000;
    sd_bus_set_method_call_timeout(connection.get(), soon);
    SelfCall call(connection);
    bus.freeze();
    EXPECT_TRUE(call.isAnswered());
    while (!call.isAnswered())
    {
        constexpr uint64_t patience = 10'000'000;
        ASSERT_GT(sd_event_run(loop.get(), patience), 0) << "no timeout came";
    }
    bus.thaw();
}

TEST_F(CallToItself, MayBeAnsweredAfterItWasDestroyed)
{
    std::optional<SelfCall> call(std::in_place, connection);
    EXPECT_TRUE(call->isAnswered());
    call.reset();
    work();
}

} // namespace
} // namespace healthintf::services
