// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sel/moment.hpp>

#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

namespace healthintf::healthctl
{
namespace
{

constexpr std::time_t now = 1700000000;

class Moment : public testing::Test
{
  protected:
    Moment()
    {
        // A timezone one hour east of Greenwich.
        setenv("TZ", "XXX-1", 1);
        tzset();
    }
};

TEST_F(Moment, IsSecondsAfterAnAtSign)
{
    EXPECT_EQ(parseMoment("@0", now), 0);
    EXPECT_EQ(parseMoment("@1234567890", now), 1234567890);
}

TEST_F(Moment, IsALengthOfTimeAgo)
{
    EXPECT_EQ(parseMoment("90s", now), now - 90);
    EXPECT_EQ(parseMoment("10m", now), now - 600);
    EXPECT_EQ(parseMoment("2h", now), now - 7200);
    EXPECT_EQ(parseMoment("3d", now), now - 259200);
}

TEST_F(Moment, IsADateInLocalTime)
{
    EXPECT_EQ(parseMoment("1970-01-01 01:00", now), 0);
    EXPECT_EQ(parseMoment("1970-01-02", now), 82800);
    EXPECT_EQ(parseMoment("1970-01-01T01:00:05", now), 5);
    EXPECT_EQ(parseMoment("1970-01-01 01:01:05", now), 65);
}

TEST_F(Moment, RefusesEverythingElse)
{
    for (const char* text :
         {"", "x", "10", "h", "10x", "-1h", "@", "@-5", "@1x", "2026-02-31",
          "2026-13-01", "2026-01-01 25:00", "2026-01-01 10:00 x",
          "99999999999999999999d", "4000d"})
    {
        EXPECT_THROW(parseMoment(text, now), std::invalid_argument) << text;
    }
}

} // namespace
} // namespace healthintf::healthctl
