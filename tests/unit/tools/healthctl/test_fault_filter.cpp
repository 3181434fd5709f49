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
