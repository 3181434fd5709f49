// SPDX-License-Identifier: Apache-2.0
#include "failure_log.hpp"

#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

LineLimit::Clock::time_point time;

LineLimit::Clock::time_point standingClock()
{
    return time;
}

class Failures : public testing::Test
{
  protected:
    FailureLog failures{standingClock};
};

TEST_F(Failures, AreLoggedOnceUntilAnotherFailureOrASuccess)
{
    EXPECT_TRUE(failures.admits(1));
    EXPECT_FALSE(failures.admits(1));
    EXPECT_TRUE(failures.admits(2));
    EXPECT_TRUE(failures.admits(1));
    failures.noteSuccess();
    EXPECT_TRUE(failures.admits(1));
}

TEST_F(Failures, AreLimitedWhenTheyAlternate)
{
    int logged = 0;
    for (int i = 0; i < 10'000; ++i)
    {
        logged += failures.admits(1 + i % 3) ? 1 : 0;
        if (i % 7 == 0)
        {
            failures.noteSuccess();
        }
    }
    EXPECT_EQ(logged, LineLimit::burst);
}

TEST_F(Failures, ThatWereLeftOutAreLoggedLater)
{
    for (int i = 0; i < 100; ++i)
    {
        failures.admits(1 + i % 2);
    }
    EXPECT_FALSE(failures.admits(3));
    time += LineLimit::refillTime;
    EXPECT_TRUE(failures.admits(3));
    EXPECT_FALSE(failures.admits(3));
}

} // namespace
} // namespace healthintf::host
