// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "model/component_check.hpp"

#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

const std::string root = "/com/vexa/olvar/health";
const std::string rack = root + "/rack";
const std::string fan = rack + "/fan";

Node healthy(uint32_t health)
{
    return {health, "daemon[1]"};
}

/** Judges "rack", which has the child "fan". */
ComponentCheck judgeRack(uint32_t health, const Faults& faults,
                         uint32_t childHealth = 2)
{
    const auto trees = buildTrees({{root, healthy(health)},
                                   {rack, healthy(health)},
                                   {fan, healthy(childHealth)}},
                                  faults);
    return judge(*findNode(trees, rack), faults);
}

TEST(ComponentCheck, HasTheStateOfTheNodesHealth)
{
    EXPECT_EQ(judgeRack(2, {}).state, CheckState::ok);
    EXPECT_EQ(judgeRack(3, {}).state, CheckState::warning);
    EXPECT_EQ(judgeRack(4, {}).state, CheckState::critical);
    for (const uint32_t health : {0U, 1U, 5U, 0xFFFFFFFFU})
    {
        EXPECT_EQ(judgeRack(health, {}).state, CheckState::unknown) << health;
    }
}

TEST(ComponentCheck, IsUnknownForAComponentWithoutANode)
{
    const auto trees = buildTrees({{fan, healthy(4)}}, {});
    EXPECT_EQ(judge(*findNode(trees, rack), {}).state, CheckState::unknown);
}

TEST(ComponentCheck, CountsVisibleFaultsBySeverityAtAndBelowTheComponent)
{
    const FaultNumbers faults =
        judgeRack(4, {makeFault(root, "above", 4), makeFault(rack, "a", 4),
                      makeFault(fan, "b", 3), makeFault(fan, "c", 3),
                      makeFault(fan, "d", 2), makeFault(fan, "e", 1),
                      makeFault(fan, "f", 9), makeFault(rack + "2", "g", 4)})
            .faults;
    EXPECT_EQ(faults.critical, 1U);
    EXPECT_EQ(faults.warning, 2U);
    EXPECT_EQ(faults.ok, 1U);
    EXPECT_EQ(faults.unknown, 2U);
    EXPECT_EQ(faults.visible(), 6U);
    EXPECT_EQ(faults.hidden, 0U);
}

TEST(ComponentCheck, CountsHiddenFaultsForThemselves)
{
    const ComponentCheck check =
        judgeRack(2, {makeFault(fan, "hidden", 4, 0, true)});
    EXPECT_EQ(check.faults.hidden, 1U);
    EXPECT_EQ(check.faults.visible(), 0U);
    EXPECT_FALSE(check.worst);
}

TEST(ComponentCheck, CountsLostMonitorsHiddenOnesToo)
{
    const std::string lost = "HealthManager.1.0.MonitorLost";
    const FaultNumbers faults = judgeRack(4, {makeFault(rack, lost, 4),
                                              makeFault(fan, lost, 3, 0, true),
                                              makeFault(fan, "other", 3)})
                                    .faults;
    EXPECT_EQ(faults.lostMonitors, 2U);
    EXPECT_EQ(faults.critical, 1U);
    EXPECT_EQ(faults.warning, 1U);
    EXPECT_EQ(faults.hidden, 1U);
}

TEST(ComponentCheck, NamesTheMostSevereAndOldestFault)
{
    const ComponentCheck check = judgeRack(
        3, {makeFault(fan, "new", 3, 30), makeFault(fan, "old", 3, 20),
            makeFault(fan, "mild", 2, 10), makeFault(root, "above", 4)});
    ASSERT_TRUE(check.worst);
    EXPECT_EQ(check.worst->record.messageID(), "old");
    EXPECT_EQ(check.withoutFault, "");
}

TEST(ComponentCheck, NamesTheLowestComponentThatIsBadWithoutAFault)
{
    const Faults mild{makeFault(rack, "mild", 3)};
    EXPECT_EQ(judgeRack(4, mild).withoutFault, rack);
    EXPECT_EQ(judgeRack(4, mild, 4).withoutFault, fan);
    EXPECT_EQ(judgeRack(3, {}, 3).withoutFault, fan);
    EXPECT_EQ(judgeRack(2, {}, 2).withoutFault, "");
}

TEST(ComponentCheck, NeedsHealthmgrForTheRootAndParentsOnly)
{
    const auto trees = buildTrees(
        {{root, healthy(2)}, {rack, healthy(2)}, {fan, healthy(2)}}, {});
    EXPECT_TRUE(needsHealthmgr(*findNode(trees, root)));
    EXPECT_TRUE(needsHealthmgr(*findNode(trees, rack)));
    EXPECT_FALSE(needsHealthmgr(*findNode(trees, fan)));
    const auto alone = buildTrees({{root, healthy(2)}}, {});
    EXPECT_TRUE(needsHealthmgr(alone.front()));
}

} // namespace
} // namespace healthintf::healthctl
