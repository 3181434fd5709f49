// SPDX-License-Identifier: Apache-2.0
#include "line_limit.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace healthintf::host
{
namespace
{

LineLimit::Clock::time_point time;

LineLimit::Clock::time_point standingClock()
{
    return time;
}

class Lines : public testing::Test
{
  protected:
    /** The number of lines that are admitted out of @p lines. */
    int admitted(int lines)
    {
        int count = 0;
        for (int i = 0; i < lines; ++i)
        {
            count += limit.admits() ? 1 : 0;
        }
        return count;
    }

    LineLimit limit{standingClock};
};

TEST_F(Lines, AreLetThroughUpToTheLimit)
{
    EXPECT_EQ(admitted(LineLimit::burst), LineLimit::burst);
    EXPECT_FALSE(limit.admits());
}

TEST_F(Lines, AreLetThroughOneByOneAfterwards)
{
    admitted(1000);
    time += LineLimit::refillTime - LineLimit::Clock::duration(1);
    EXPECT_EQ(admitted(1000), 0);
    time += LineLimit::Clock::duration(1);
    EXPECT_EQ(admitted(1000), 1);
    time += 2 * LineLimit::refillTime;
    EXPECT_EQ(admitted(1000), 2);
}

TEST_F(Lines, AreLetThroughUpToTheLimitAgainAfterALongTime)
{
    admitted(1000);
    time += 100 * LineLimit::burst * LineLimit::refillTime;
    EXPECT_EQ(admitted(1000), LineLimit::burst);
}

TEST_F(Lines, FollowALineWithTheNumberOfThoseLeftOut)
{
    testing::internal::CaptureStderr();
    admitted(LineLimit::burst);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    admitted(37);
    time += LineLimit::refillTime;
    testing::internal::CaptureStderr();
    admitted(1);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(
                  "admits: 37 lines like the next one were left out\n"),
              std::string::npos);
    time += LineLimit::refillTime;
    testing::internal::CaptureStderr();
    admitted(1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Lines, AreLimitedForAllThreadsTogether)
{
    std::atomic<int> count{0};
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back([this, &count] {
            count += admitted(1000);
        });
    }
    threads.clear();
    EXPECT_EQ(count, LineLimit::burst);
}

} // namespace
} // namespace healthintf::host
