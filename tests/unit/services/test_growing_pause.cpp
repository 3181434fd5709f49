// SPDX-License-Identifier: Apache-2.0
#include "common/growing_pause.hpp"

#include <gtest/gtest.h>

namespace healthintf::services
{
namespace
{

using std::chrono::milliseconds;

TEST(PauseAfterAFailure, GrowsToItsLimit)
{
    GrowingPause pauses(milliseconds(10), milliseconds(50));
    for (const int expected : {10, 20, 40, 50, 50})
    {
        EXPECT_EQ(pauses.next(), milliseconds(expected));
    }
}

TEST(PauseAfterAFailure, IsShortAgainAfterASuccess)
{
    GrowingPause pauses(milliseconds(10), milliseconds(50));
    pauses.next();
    pauses.next();
    pauses.reset();
    EXPECT_EQ(pauses.next(), milliseconds(10));
}

TEST(PauseAfterAFailure, IsTenMillisecondsToTenSeconds)
{
    GrowingPause pauses;
    EXPECT_EQ(pauses.next(), milliseconds(10));
    for (int failures = 0; failures < 10; ++failures)
    {
        pauses.next();
    }
    EXPECT_EQ(pauses.next(), std::chrono::seconds(10));
}

} // namespace
} // namespace healthintf::services
