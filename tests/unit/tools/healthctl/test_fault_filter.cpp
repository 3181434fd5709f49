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

const Faults all{
    faultOf("/a/fan", "new", 3, 30), faultOf("/a/fan", "old", 3, 10),
    faultOf("/a/fan2", "worst", 4, 20),
    faultOf("/a/fan2", "hidden", 4, 5, true), faultOf("/a", "unknown", 1, 1)};

std::vector<std::string> chosen(const FaultWish& wish)
{
    std::vector<std::string> names;
    for (const Fault& fault : chooseFaults(all, wish))
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
    FaultWish wish;
    wish.visibility = Visibility::hidden;
    EXPECT_THAT(chosen(wish), ElementsAre("hidden"));
    wish.visibility = Visibility::all;
    EXPECT_THAT(chosen(wish),
                ElementsAre("hidden", "worst", "old", "new", "unknown"));
}

TEST(ChosenFaults, AreOfAComponentByItsWholeName)
{
    FaultWish wish;
    wish.key = "/a/fan";
    EXPECT_THAT(chosen(wish), ElementsAre("old", "new"));
}

TEST(ChosenFaults, AreOfAnyOfTheSeverities)
{
    FaultWish wish;
    wish.severities = {1, 4};
    EXPECT_THAT(chosen(wish), ElementsAre("worst", "unknown"));
}

TEST(ChosenFaults, ComeByTimeOrByComponent)
{
    FaultWish wish;
    wish.order = FaultOrder::time;
    EXPECT_THAT(chosen(wish), ElementsAre("unknown", "old", "worst", "new"));
    wish.order = FaultOrder::component;
    EXPECT_THAT(chosen(wish), ElementsAre("unknown", "old", "new", "worst"));
}

TEST(ChosenFaults, AreTurnedRoundBeforeTheyAreLimited)
{
    FaultWish wish;
    wish.reverse = true;
    wish.limit = 2;
    EXPECT_THAT(chosen(wish), ElementsAre("unknown", "new"));
}

TEST(ChosenFaults, AreOrderedByTheirPathsWhenAllElseIsTheSame)
{
    const Faults twins{faultOf("/b", "x", 3), faultOf("/a", "x", 3)};
    EXPECT_EQ(chooseFaults(twins, {}).front().path, "/a/entry/x");
}

} // namespace
} // namespace healthintf::healthctl
