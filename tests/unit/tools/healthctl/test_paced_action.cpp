// SPDX-License-Identifier: Apache-2.0
#include "watch/paced_action.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>

namespace healthintf::healthctl
{
namespace
{

using Clock = std::chrono::steady_clock;
using services::EventLoop;
using std::chrono::microseconds;
using std::chrono::milliseconds;

TEST(PacedAction, IsPerformedOnceForAnyNumberOfRequests)
{
    EventLoop loop;
    int performed = 0;
    PacedAction action(loop, microseconds(1), [&] {
        ++performed;
    });
    action.request();
    action.request();
    int rounds = 0;
    const auto ending = loop.every(microseconds(50), [&] {
        if (performed != 0 && ++rounds == 5)
        {
            loop.exit(0);
        }
    });
    loop.run();
    EXPECT_EQ(performed, 1);
}

TEST(PacedAction, WaitsForARequest)
{
    EventLoop loop;
    bool performed = false;
    const PacedAction action(loop, microseconds(1), [&] {
        performed = true;
    });
    int rounds = 0;
    const auto ending = loop.every(microseconds(50), [&] {
        if (++rounds == 5)
        {
            loop.exit(0);
        }
    });
    loop.run();
    EXPECT_FALSE(performed);
}

TEST(PacedAction, ComesOnceInAPeriod)
{
    constexpr milliseconds period(20);
    constexpr int times = 3;
    EventLoop loop;
    int performed = 0;
    std::unique_ptr<PacedAction> action;
    action = std::make_unique<PacedAction>(loop, period, [&] {
        if (++performed == times)
        {
            loop.exit(0);
            return;
        }
        action->request();
    });
    const auto begin = Clock::now();
    action->request();
    loop.run();
    EXPECT_GE(Clock::now() - begin, (times - 1) * period);
}

TEST(PacedAction, FirstComesWithoutWaitingForThePeriod)
{
    EventLoop loop;
    PacedAction action(loop, std::chrono::hours(1), [&] {
        loop.exit(3);
    });
    action.request();
    EXPECT_EQ(loop.run(), 3);
}

TEST(PacedAction, CanBeRequestedAgainAfterItThrew)
{
    EventLoop loop;
    int performed = 0;
    std::unique_ptr<PacedAction> action;
    action = std::make_unique<PacedAction>(loop, microseconds(1), [&] {
        if (++performed == 2)
        {
            loop.exit(0);
            return;
        }
        action->request();
        throw std::runtime_error("broken");
    });
    action->request();
    testing::internal::CaptureStderr();
    loop.run();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(performed, 2);
}

} // namespace
} // namespace healthintf::healthctl
