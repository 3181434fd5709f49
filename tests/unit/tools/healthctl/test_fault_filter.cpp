// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "model/fault_filter.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;

const Faults all{makeFault("/a/fan", "new", 3, 30),
                 makeFault("/a/fan", "old", 3, 10),
                 makeFault("/a/fan2", "worst", 4, 20),
                 makeFault("/a/fan2", "hidden", 4, 5, true),
                 makeFault("/a", "unknown", 1, 1)};

std::vector<std::string> chosen(const FaultFilter& filter)
{
    std::vector<std::string> names;
    for (const Fault& fault : chooseFaults(all, filter))
    {
        names.push_back(fault.record.messageID());
    }
    return names;
}

TEST(ChosenFaults, AreTheVisibleOnesTheMostSevereAndOldestFirst)
{
    EXPECT_THAT(chosen({}), ElementsAre("worst", "old", "new", "unknown"));
}

TEST(ChosenFaults, AreHiddenOrAllOnDemand)
{
    FaultFilter filter;
    filter.visibility = Visibility::hidden;
    EXPECT_THAT(chosen(filter), ElementsAre("hidden"));
    filter.visibility = Visibility::all;
    EXPECT_THAT(chosen(filter),
                ElementsAre("hidden", "worst", "old", "new", "unknown"));
}

TEST(ChosenFaults, AreOfAComponentByItsWholeName)
{
    FaultFilter filter;
    filter.key = "/a/fan";
    EXPECT_THAT(chosen(filter), ElementsAre("old", "new"));
}

TEST(ChosenFaults, AreOfAnyOfTheSeverities)
{
    FaultFilter filter;
    filter.severities = {1, 4};
    EXPECT_THAT(chosen(filter), ElementsAre("worst", "unknown"));
}

TEST(ChosenFaults, AppearedWithinAPeriod)
{
    FaultFilter filter;
    filter.period = {.since = 10, .until = 20};
    EXPECT_THAT(chosen(filter), ElementsAre("worst", "old"));
    filter.period = {.since = 30, .until = std::nullopt};
    EXPECT_THAT(chosen(filter), ElementsAre("new"));
}

TEST(ChosenFaults, AreNewestWhenTheirTimeIsBeyondAllPeriods)
{
    const Faults odd{makeFault("/a", "odd", 3, UINT64_MAX)};
    FaultFilter filter;
    filter.period.since = 1;
    EXPECT_EQ(chooseFaults(odd, filter).size(), 1U);
}

TEST(ChosenFaults, HaveAnyOfTheMessages)
{
    FaultFilter filter;
    filter.messages = {"Fans.1.0.new", "worst"};
    EXPECT_THAT(chosen(filter), ElementsAre("worst", "new"));
}

TEST(ChosenFaults, HaveATextInTheirMessage)
{
    FaultFilter filter;
    filter.text = "OF O";
    EXPECT_THAT(chosen(filter), ElementsAre("old"));
    filter.text = "The Message";
    EXPECT_EQ(chosen(filter).size(), 4U);
    filter.text = ".*";
    EXPECT_TRUE(chosen(filter).empty());
}

TEST(ChosenFaults, AreCountedByTheirVisibility)
{
    EXPECT_EQ(countFaults(all, Visibility::visible), 4U);
    EXPECT_EQ(countFaults(all, Visibility::hidden), 1U);
    EXPECT_EQ(countFaults(all, Visibility::all), 5U);
}

TEST(ChosenFaults, ComeByTimeOrByComponent)
{
    FaultFilter filter;
    filter.order = FaultOrder::time;
    EXPECT_THAT(chosen(filter), ElementsAre("unknown", "old", "worst", "new"));
    filter.order = FaultOrder::component;
    EXPECT_THAT(chosen(filter), ElementsAre("unknown", "old", "new", "worst"));
}

TEST(ChosenFaults, AreTurnedRoundBeforeTheyAreLimited)
{
    FaultFilter filter;
    filter.reverse = true;
    filter.limit = 2;
    EXPECT_THAT(chosen(filter), ElementsAre("unknown", "new"));
}

TEST(ChosenFaults, AreOrderedByTheirPathsWhenAllElseIsTheSame)
{
    const Faults twins{makeFault("/b", "x", 3), makeFault("/a", "x", 3)};
    EXPECT_EQ(chooseFaults(twins, {}).front().path, "/a/entry/x");
}

} // namespace
} // namespace healthintf::healthctl
