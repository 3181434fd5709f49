// SPDX-License-Identifier: Apache-2.0
#include "history/time_slices.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace healthintf::healthctl
{
namespace
{

constexpr int64_t hour = 3600;
constexpr int64_t day = 24 * hour;

class Slices : public testing::Test
{
  protected:
    Slices()
    {
        setZone("UTC0");
    }

    ~Slices() override
    {
        setZone("UTC0");
    }

    static void setZone(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
};

TEST_F(Slices, AreTheShortestThatFit)
{
    EXPECT_EQ(makeSlices(0, day, 48).length, hour / 2);
    EXPECT_EQ(makeSlices(0, day, 48).count, 48U);
    EXPECT_EQ(makeSlices(0, day, 47).length, hour);
    EXPECT_EQ(makeSlices(0, day, 166).length, hour / 6);
    EXPECT_EQ(makeSlices(0, 50, 50).length, 1);
    EXPECT_EQ(makeSlices(0, 365 * day, 50).length, 28 * day);
}

TEST_F(Slices, BeginAtWholeHoursOfTheLocalClock)
{
    const TimeSlices slices = makeSlices(hour + 17, day, 24);
    EXPECT_EQ(slices.begin, hour);
    EXPECT_EQ(slices.end(), day);
    // Half an hour ahead of whole hours of UTC.
    setZone("IST-5:30");
    EXPECT_EQ(makeSlices(hour + 17, day, 26).begin, hour / 2);
}

TEST_F(Slices, ContainThePeriodWhateverItsLengthIs)
{
    for (const int64_t length :
         {int64_t{1}, int64_t{59}, hour + 1, 9 * day, 400 * day, 20'000 * day})
    {
        for (const std::size_t most : {2U, 3U, 50U, 166U})
        {
            const int64_t since = 1'700'000'123;
            const TimeSlices slices = makeSlices(since, since + length, most);
            EXPECT_LE(slices.begin, since);
            EXPECT_GE(slices.end(), since + length);
            EXPECT_LE(slices.count, most) << length;
            EXPECT_GE(slices.count, 1U);
        }
    }
}

TEST_F(Slices, HaveTimesAboveThem)
{
    EXPECT_EQ(makeAxis(makeSlices(0, day, 48)),
              "00:00       06:00       12:00       18:00");
    EXPECT_EQ(makeAxis(makeSlices(0, 7 * day, 50)), "01-01   01-03   01-05");
    // Where a label does not fit, there is none.
    EXPECT_EQ(makeAxis(makeSlices(0, 3, 50)), "");
}

TEST_F(Slices, HaveTimesOfTheLocalClockAboveThem)
{
    setZone("IST-5:30");
    EXPECT_EQ(makeAxis(makeSlices(0, day, 48)),
              " 06:00       12:00       18:00       00:00");
}

} // namespace
} // namespace healthintf::healthctl
