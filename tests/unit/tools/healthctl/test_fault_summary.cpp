// SPDX-License-Identifier: Apache-2.0
#include "history/fault_summary.hpp"
#include "history_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::IsEmpty;
using testing::SizeIs;

constexpr int64_t minute = 60'000;
constexpr TimeSpan always{.begin = 0, .end = 1000 * minute};

const HistoryRecord fan = makeRecord("appeared", 0, "fan");
const HistoryRecord pump = makeRecord("appeared", 0, "pump");

TEST(FaultSums, CountOccurrencesAndTime)
{
    FaultSums sums(always);
    sums.take(fan, {10, 30}, false);
    sums.take(fan, {50, 60}, false);
    const auto all = sums.summaries();
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].fault.component, fan.component);
    EXPECT_EQ(all[0].occurrences, 2U);
    EXPECT_EQ(all[0].total, 30);
    EXPECT_EQ(all[0].mean(), 15);
    EXPECT_FALSE(all[0].lasts);
    EXPECT_FALSE(all[0].flapping);
}

TEST(FaultSums, CountOnlyWhatIsInThePeriod)
{
    FaultSums sums({.begin = 100, .end = 200});
    sums.take(fan, {10, 99}, false);
    sums.take(fan, {200, 210}, false);
    EXPECT_THAT(sums.summaries(), IsEmpty());
    sums.take(fan, {50, 110}, false);
    sums.take(fan, {150, 300}, false);
    const auto all = sums.summaries();
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].occurrences, 2U);
    EXPECT_EQ(all[0].total, 60);
    // It ended behind the period.
    EXPECT_TRUE(all[0].lasts);
}

TEST(FaultSums, TellWhatLasts)
{
    FaultSums sums(always);
    sums.take(fan, {10, 1000 * minute}, true);
    EXPECT_TRUE(sums.summaries()[0].lasts);
}

TEST(FaultSums, TellFaultsApart)
{
    FaultSums sums(always);
    HistoryRecord other = fan;
    other.args = {"a"};
    HistoryRecord another = fan;
    another.sensorPath = "a";
    HistoryRecord third = fan;
    third.messageId = "Other.1.0.Stopped";
    HistoryRecord fourth = fan;
    fourth.sensorNumber = 1;
    for (const HistoryRecord& fault :
         {fan, other, another, third, fourth, pump})
    {
        sums.take(fault, {10, 20}, false);
    }
    EXPECT_THAT(sums.summaries(), SizeIs(6));
}

TEST(FaultSums, PutTheMostFrequentFirstThenTheLongest)
{
    FaultSums sums(always);
    const HistoryRecord disk = makeRecord("appeared", 0, "disk");
    sums.take(disk, {0, 10}, false);
    sums.take(fan, {0, 20}, false);
    sums.take(pump, {0, 1}, false);
    sums.take(pump, {2, 3}, false);
    const auto all = sums.summaries();
    ASSERT_THAT(all, SizeIs(3));
    EXPECT_EQ(all[0].fault.component, pump.component);
    EXPECT_EQ(all[1].fault.component, fan.component);
    EXPECT_EQ(all[2].fault.component, disk.component);
}

/** Whether a fault is flapping that appears at these minutes. */
bool flaps(const std::vector<int64_t>& minutes, TimeSpan period = always)
{
    FaultSums sums(period);
    for (const int64_t each : minutes)
    {
        sums.take(fan, {each * minute, each * minute + 1}, false);
    }
    return sums.summaries().at(0).flapping;
}

TEST(FaultSums, CallAFaultFlappingThatCameFiveTimesInAnHour)
{
    EXPECT_TRUE(flaps({0, 10, 20, 30, 60}));
    EXPECT_FALSE(flaps({0, 10, 20, 30, 61}));
    EXPECT_FALSE(flaps({0, 10, 20, 30}));
    EXPECT_TRUE(flaps({0, 100, 110, 120, 130, 140, 900}));
    EXPECT_FALSE(flaps({0, 20, 40, 60, 80, 100, 120}));
    // Four of them within the period.
    EXPECT_FALSE(flaps({0, 10, 20, 30, 40}, {minute, 1000 * minute}));
}

TEST(FaultSums, HaveALimit)
{
    FaultSums sums(always);
    HistoryRecord fault = fan;
    for (std::size_t i = 0; i < FaultSums::most; ++i)
    {
        fault.messageId = std::to_string(i);
        sums.take(fault, {0, 1}, false);
    }
    sums.take(fault, {2, 3}, false);
    EXPECT_EQ(sums.left(), 0U);
    fault.messageId = "one too many";
    sums.take(fault, {0, 1}, false);
    EXPECT_EQ(sums.left(), 1U);
    EXPECT_THAT(sums.summaries(), SizeIs(FaultSums::most));
}

} // namespace
} // namespace healthintf::healthctl
