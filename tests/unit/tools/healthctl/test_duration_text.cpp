// SPDX-License-Identifier: Apache-2.0
#include "output/duration_text.hpp"

#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

constexpr int64_t second = 1000;
constexpr int64_t minute = 60 * second;
constexpr int64_t hour = 60 * minute;
constexpr int64_t day = 24 * hour;

TEST(DurationText, HasTheTwoLargestUnits)
{
    EXPECT_EQ(durationText(0), "0ms");
    EXPECT_EQ(durationText(999), "999ms");
    EXPECT_EQ(durationText(second), "1s");
    EXPECT_EQ(durationText(minute - 1), "59s");
    EXPECT_EQ(durationText(minute), "1m");
    EXPECT_EQ(durationText(5 * minute + 3 * second), "5m 3s");
    EXPECT_EQ(durationText(hour), "1h");
    EXPECT_EQ(durationText(2 * hour + 5 * minute + 59 * second), "2h 5m");
    EXPECT_EQ(durationText(day - 1), "23h 59m");
    EXPECT_EQ(durationText(3 * day + 4 * hour), "3d 4h");
}

TEST(DurationText, TakesAnyNumber)
{
    EXPECT_EQ(durationText(-5), "0ms");
    EXPECT_EQ(durationText(INT64_MIN), "0ms");
    EXPECT_EQ(durationText(INT64_MAX), "106751991167d 7h");
}

} // namespace
} // namespace healthintf::healthctl
