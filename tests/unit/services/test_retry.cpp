// SPDX-License-Identifier: Apache-2.0
#include "common/retry.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <vector>

namespace healthintf::services
{
namespace
{

using std::chrono::hours;
using std::chrono::milliseconds;

/** Work that fails a given number of times. */
class RepeatedWork : public testing::Test
{
  protected:
    bool work()
    {
        attempts.push_back(Retry::Clock::now());
        if (failures == 0)
        {
            return true;
        }
        --failures;
        return false;
    }

    void runUntilAttempted(std::size_t times)
    {
        while (attempts.size() < times)
        {
            sd_event_run(loop.get(), UINT64_MAX);
        }
    }

    /** Processes the loop's pending events. */
    void settle()
    {
        while (sd_event_run(loop.get(), 0) > 0)
        {}
    }

    Retry make(GrowingPause pauses = GrowingPause())
    {
        return Retry(
            loop,
            [this] {
                return work();
            },
            pauses);
    }

    EventLoop loop;
    int failures = 0;
    std::vector<Retry::Clock::time_point> attempts;
};

TEST_F(RepeatedWork, IsDoneOnceForAnyNumberOfRequests)
{
    Retry retry = make();
    retry.request();
    retry.request();
    EXPECT_EQ(attempts.size(), 0U);
    settle();
    EXPECT_EQ(attempts.size(), 1U);
}

TEST_F(RepeatedWork, IsDoneAtOnceWhenItCannotWaitForTheLoop)
{
    Retry retry = make();
    retry.attempt();
    EXPECT_EQ(attempts.size(), 1U);
}

TEST_F(RepeatedWork, IsDoneInAPauseWhenItIsInsistedOn)
{
    failures = 2;
    Retry retry = make(GrowingPause(hours(1), hours(1)));
    retry.attempt();
    retry.attempt();
    EXPECT_EQ(attempts.size(), 1U);
    retry.insist();
    EXPECT_EQ(attempts.size(), 2U);
    EXPECT_FALSE(retry.isProgressing(milliseconds(0)));
    retry.insist();
    EXPECT_EQ(attempts.size(), 3U);
    EXPECT_TRUE(retry.isProgressing(milliseconds(0)));
}

TEST_F(RepeatedWork, KeepsItsPauseWhenItIsInsistedOnInVain)
{
    failures = 2;
    Retry retry = make(GrowingPause(milliseconds(4), hours(1)));
    retry.attempt();
    retry.insist();
    runUntilAttempted(3);
    EXPECT_GE(attempts[2] - attempts[0], milliseconds(4));
}

TEST_F(RepeatedWork, IsTriedAgainAfterPausesThatGrow)
{
    failures = 3;
    Retry retry = make(GrowingPause(milliseconds(4), hours(1)));
    retry.request();
    runUntilAttempted(4);
    EXPECT_GE(attempts[1] - attempts[0], milliseconds(4));
    EXPECT_GE(attempts[2] - attempts[1], milliseconds(8));
    EXPECT_GE(attempts[3] - attempts[2], milliseconds(16));
}

TEST_F(RepeatedWork, IsNotTriedDuringAPause)
{
    failures = 1;
    Retry retry = make(GrowingPause(hours(1), hours(1)));
    retry.attempt();
    retry.request();
    retry.attempt();
    settle();
    EXPECT_EQ(attempts.size(), 1U);
}

TEST_F(RepeatedWork, HasAShortPauseAgainAfterASuccess)
{
    failures = 8;
    Retry retry = make(GrowingPause(milliseconds(1), hours(1)));
    retry.request();
    runUntilAttempted(9);
    failures = 1;
    retry.request();
    runUntilAttempted(11);
    EXPECT_LT(attempts[10] - attempts[9], milliseconds(250))
        << "the ninth pause is 256 ms";
}

TEST_F(RepeatedWork, CountsAFailureThatIsReportedLater)
{
    Retry retry = make(GrowingPause(hours(1), hours(1)));
    retry.attempt();
    retry.fail();
    retry.attempt();
    EXPECT_EQ(attempts.size(), 1U);
    EXPECT_FALSE(retry.isProgressing(Retry::Clock::duration::min()));
}

TEST_F(RepeatedWork, ProgressesUntilItHasFailedForTooLong)
{
    Retry retry = make(GrowingPause(milliseconds(1), milliseconds(1)));
    EXPECT_TRUE(retry.isProgressing(hours(0))) << "nothing to do";
    failures = 1;
    retry.attempt();
    EXPECT_TRUE(retry.isProgressing(hours(1)));
    EXPECT_FALSE(retry.isProgressing(Retry::Clock::duration::min()));
    runUntilAttempted(2);
    EXPECT_TRUE(retry.isProgressing(hours(0))) << "done";
}

TEST_F(RepeatedWork, IsRetriedAfterAnException)
{
    int calls = 0;
    Retry retry(loop, [&] {
        if (++calls == 1)
        {
            throw std::runtime_error("broken");
        }
        loop.exit(0);
        return true;
    });
    retry.request();
    testing::internal::CaptureStderr();
    loop.run();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("broken"));
    EXPECT_EQ(calls, 2);
}

} // namespace
} // namespace healthintf::services
