// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

#include <time_argument.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr std::time_t now = 1700000000;

class TimeArgument : public testing::Test
{
  protected:
    TimeArgument()
    {
        // A timezone one hour east of Greenwich.
        setenv("TZ", "XXX-1", 1);
        tzset();
    }
};

TEST_F(TimeArgument, IsSecondsAfterAnAtSign)
{
    EXPECT_EQ(parseTimeArgument("@0", now), 0);
    EXPECT_EQ(parseTimeArgument("@1234567890", now), 1234567890);
}

TEST_F(TimeArgument, IsALengthOfTimeAgo)
{
    EXPECT_EQ(parseTimeArgument("90s", now), now - 90);
    EXPECT_EQ(parseTimeArgument("10m", now), now - 600);
    EXPECT_EQ(parseTimeArgument("2h", now), now - 7200);
    EXPECT_EQ(parseTimeArgument("3d", now), now - 259200);
    EXPECT_EQ(parseTimeArgument("1w", now), now - 604800);
}

TEST_F(TimeArgument, IsADateInLocalTime)
{
    EXPECT_EQ(parseTimeArgument("1970-01-01 01:00", now), 0);
    EXPECT_EQ(parseTimeArgument("1970-01-02", now), 82800);
    EXPECT_EQ(parseTimeArgument("1970-01-01T01:00:05", now), 5);
    EXPECT_EQ(parseTimeArgument("1970-01-01 01:01:05", now), 65);
}

TEST_F(TimeArgument, IsADayInAWord)
{
    // The epoch is one o'clock here.
    constexpr std::time_t morning = 86400 * 3 + 5;
    EXPECT_EQ(parseTimeArgument("now", morning), morning);
    EXPECT_EQ(parseTimeArgument("today", morning), 86400 * 3 - 3600);
    EXPECT_EQ(parseTimeArgument("yesterday", morning), 86400 * 2 - 3600);
}

TEST_F(TimeArgument, IsATimeOfToday)
{
    constexpr std::time_t morning = 86400 * 3 + 5;
    EXPECT_EQ(parseTimeArgument("00:00", morning), 86400 * 3 - 3600);
    EXPECT_EQ(parseTimeArgument("10:30", morning), 86400 * 3 + 9 * 3600 + 1800);
    EXPECT_EQ(parseTimeArgument("10:30:09", morning),
              86400 * 3 + 9 * 3600 + 1809);
}

TEST_F(TimeArgument, KnowsThatADayIsNotAlways24HoursLong)
{
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    // 2026-03-29 has 23 hours there.
    const int64_t day = parseTimeArgument("2026-03-29", now);
    const int64_t next = parseTimeArgument("2026-03-30", now);
    ASSERT_EQ(next - day, 23 * 3600);
    EXPECT_EQ(parseTimeArgument("yesterday", next), day);
    EXPECT_EQ(parseTimeArgument("today", next - 1), day);
    EXPECT_EQ(parseTimeArgument("12:00", day), day + 11 * 3600);
}

TEST_F(TimeArgument, RefusesEverythingElse)
{
    for (const char* text : {"",
                             "x",
                             "10",
                             "h",
                             "10x",
                             "-1h",
                             "@",
                             "@-5",
                             "@1x",
                             "2026-02-31",
                             "2026-13-01",
                             "2026-01-01 25:00",
                             "2026-01-01 10:00 x",
                             "99999999999999999999d",
                             "4000d",
                             "600w",
                             "24:01",
                             "10:61",
                             "1:2:3:4",
                             "Yesterday ",
                             "tomorrow",
                             "10:30 "})
    {
        EXPECT_THROW(parseTimeArgument(text, now), std::invalid_argument)
            << text;
    }
}

TEST(SpanArgument, IsANumberWithAUnit)
{
    EXPECT_EQ(parseSpan("0s"), 0U);
    EXPECT_EQ(parseSpan("90s"), 90U);
    EXPECT_EQ(parseSpan("2h"), 7200U);
    EXPECT_EQ(parseSpan("3660d"), 316'224'000U);
    for (const char* bad : {"", "h", "2", "-2h", "2 h", "2x", "3661d", "@7"})
    {
        EXPECT_THROW(parseSpan(bad), std::invalid_argument) << bad;
    }
}

TEST(Period, ContainsItsEnds)
{
    EXPECT_TRUE(Period{}.contains(0));
    const Period period{.since = 5, .until = 7};
    EXPECT_FALSE(period.contains(4));
    EXPECT_TRUE(period.contains(5));
    EXPECT_TRUE(period.contains(7));
    EXPECT_FALSE(period.contains(8));
}

} // namespace
} // namespace healthintf::healthctl
