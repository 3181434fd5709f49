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

TEST(TimeText, IsTheNumberWhereTheCalendarEnds)
{
    EXPECT_EQ(utcTime(253402300799), "9999-12-31T23:59:59Z");
    EXPECT_EQ(utcTime(253402300800), "253402300800");
    EXPECT_EQ(localTime(UINT64_MAX), "18446744073709551615");
}

} // namespace
} // namespace healthintf::healthctl
