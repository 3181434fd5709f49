// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "model/health_tree.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace healthintf::healthctl
{
namespace
{

const std::string root = "/com/vexa/olvar/health";

Node healthy(uint32_t health)
{
    return {health, "daemon[1]"};
}

TEST(HealthTree, PutsChildrenBelowTheirParents)
{
    const auto trees = buildTrees({{root, healthy(2)},
                                   {root + "/a", healthy(2)},
                                   {root + "/a/b", healthy(2)},
                                   {root + "/a2", healthy(2)}},
                                  {});
    ASSERT_EQ(trees.size(), 1U);
    ASSERT_EQ(trees[0].children.size(), 2U);
    EXPECT_EQ(trees[0].children[0].key, root + "/a");
    EXPECT_EQ(trees[0].children[0].children[0].key, root + "/a/b");
}

TEST(HealthTree, AddsTheMissingAncestorsOfANode)
{
    const auto trees = buildTrees({{root + "/a/b", healthy(2)}}, {});
    ASSERT_EQ(trees.size(), 1U);
    EXPECT_EQ(trees[0].key, root);
    EXPECT_FALSE(trees[0].recorded);
    const TreeNode* missing = findNode(trees, root + "/a");
    ASSERT_NE(missing, nullptr);
    EXPECT_FALSE(missing->recorded);
    EXPECT_FALSE(missing->parentMissing);
    EXPECT_TRUE(findNode(trees, root + "/a/b")->parentMissing);
}

TEST(HealthTree, KeepsFaultsOfAKeyWithoutANode)
{
    const auto trees =
        buildTrees({{root, healthy(2)}}, {makeFault(root + "/a", "x", 3)});
    const TreeNode* found = findNode(trees, root + "/a");
    ASSERT_NE(found, nullptr);
    EXPECT_FALSE(found->recorded);
    EXPECT_EQ(found->visible(), 1U);
}

TEST(HealthTree, ShowsNodesOutsideTheTreeBesideIt)
{
    const auto trees =
        buildTrees({{"/elsewhere", healthy(3)}, {root, healthy(2)}}, {});
    ASSERT_EQ(trees.size(), 2U);
    EXPECT_FALSE(findNode(trees, "/elsewhere")->parentMissing);
    EXPECT_EQ(findNode(trees, "/nowhere"), nullptr);
}

TEST(HealthTree, CountsVisibleAndHiddenFaultsOfEachNode)
{
    const auto trees =
        buildTrees({{root, healthy(3)}},
                   {makeFault(root, "x", 3), makeFault(root, "y", 4, 0, true)});
    EXPECT_EQ(trees[0].visible(), 1U);
    EXPECT_EQ(trees[0].hidden(), 1U);
}

Origin getOrigin(uint32_t health, uint32_t child, const Faults& faults)
{
    return buildTrees({{root, healthy(health)}, {root + "/a", healthy(child)}},
                      faults)[0]
        .origin;
}

TEST(HealthOrigin, IsEverythingWithTheSameHealth)
{
    const Origin faults = getOrigin(4, 2, {makeFault(root, "x", 4)});
    EXPECT_TRUE(faults.faults && !faults.children && !faults.base);
    const Origin child = getOrigin(3, 3, {makeFault(root, "x", 1)});
    EXPECT_TRUE(!child.faults && child.children && !child.base);
    const Origin both = getOrigin(3, 3, {makeFault(root, "x", 3)});
    EXPECT_TRUE(both.faults && both.children && !both.base);
}

TEST(HealthOrigin, IsTheBaseHealthWhenNothingElseIsAsBad)
{
    const Origin base = getOrigin(3, 2, {makeFault(root, "x", 4, 0, true)});
    EXPECT_TRUE(!base.faults && !base.children && base.base);
}

TEST(HealthOrigin, IsUnknownWhenSomethingIsWorse)
{
    const Origin none = getOrigin(2, 4, {});
    EXPECT_FALSE(none.faults || none.children || none.base);
}

} // namespace
} // namespace healthintf::healthctl
