// SPDX-License-Identifier: Apache-2.0
#include "output/time_text.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace healthintf::healthctl
{
namespace
{

TEST(TimeText, IsUtcInJson)
{
    EXPECT_EQ(utcTime(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(utcTime(1795261164), "2026-11-21T11:39:24Z");
}

TEST(TimeText, IsLocalTimeOnTheTerminal)
{
    setenv("TZ", "XST-1", 1);
    tzset();
    EXPECT_EQ(localTime(0), "1970-01-01 01:00:00");
}

TEST(TimeText, IsBrieflyTheTimeOfTodayOrElseTheDate)
{
    setenv("TZ", "XST-1", 1);
    tzset();
    constexpr uint64_t lastSecond = 86400 - 3600 - 1;
    EXPECT_EQ(briefTime(0, lastSecond), "01:00:00");
    EXPECT_EQ(briefTime(lastSecond, 0), "23:59:59");
    EXPECT_EQ(briefTime(lastSecond, lastSecond + 1), "1970-01-01");
    EXPECT_EQ(briefTime(lastSecond + 1, lastSecond), "1970-01-02");
}

TEST(TimeText, IsTheNumberWhereTheCalendarEnds)
{
    EXPECT_EQ(utcTime(253402300799), "9999-12-31T23:59:59Z");
    EXPECT_EQ(utcTime(253402300800), "253402300800");
    EXPECT_EQ(localTime(UINT64_MAX), "18446744073709551615");
}

} // namespace
} // namespace healthintf::healthctl
