// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "model/tree_choice.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const std::string root = "/com/vexa/olvar/health";

constexpr uint32_t ok = 2;
constexpr uint32_t warning = 3;
constexpr uint32_t critical = 4;

/** The keys of trees below the root, and of the root as "". */
void listKeys(const std::vector<TreeNode>& trees,
              std::vector<std::string>& keys)
{
    for (const TreeNode& node : trees)
    {
        keys.push_back(node.key.substr(root.size()));
        listKeys(node.children, keys);
    }
}

std::vector<std::string> listKeys(const std::vector<TreeNode>& trees)
{
    std::vector<std::string> keys;
    listKeys(trees, keys);
    return keys;
}

std::vector<std::string> listProblems(const Nodes& nodes,
                                      const Faults& faults = {})
{
    const auto trees = buildTrees(nodes, faults);
    return listKeys(keepNodes(listTops(trees), hasProblem));
}

TEST(TreeProblems, AreTheNodesThatAreNotOkAndThoseAbove)
{
    EXPECT_THAT(listProblems({{root, {ok, ""}},
                              {root + "/a", {ok, ""}},
                              {root + "/a/bad", {warning, ""}},
                              {root + "/a/good", {ok, ""}},
                              {root + "/b", {ok, ""}},
                              {root + "/none", {0, ""}},
                              {root + "/unknown", {1, ""}}}),
                ElementsAre("", "/a", "/a/bad", "/none", "/unknown"));
}

TEST(TreeProblems, AreNothingWhenAllIsWell)
{
    EXPECT_THAT(listProblems({{root, {ok, ""}}, {root + "/a", {ok, ""}}},
                             {makeFault(root + "/a", "note", ok)}),
                IsEmpty());
}

TEST(TreeProblems, AreMissingParentsSilentProcessesAndFaultsWithoutANode)
{
    EXPECT_THAT(listProblems({{root, {ok, ""}}, {root + "/gap/a", {ok, ""}}}),
                ElementsAre("", "/gap", "/gap/a"));
    Node silent{ok, "fan[7]"};
    silent.silent = true;
    EXPECT_THAT(listProblems({{root, {ok, ""}}, {root + "/a", silent}}),
                ElementsAre("", "/a"));
    EXPECT_THAT(listProblems({{root, {ok, ""}}},
                             {makeFault(root + "/a", "Slow", warning),
                              makeFault(root + "/b", "Odd", 4, 0, true)}),
                ElementsAre("", "/a"));
}

class Severities : public testing::Test
{
  protected:
    std::vector<TreeNode> trees =
        buildTrees({{root, {critical, ""}},
                    {root + "/a", {warning, ""}},
                    {root + "/b", {critical, ""}},
                    {root + "/c", {ok, ""}}},
                   {makeFault(root + "/a", "Slow", warning),
                    makeFault(root + "/b", "Hot", critical),
                    makeFault(root + "/b", "Warm", warning),
                    makeFault(root + "/c", "Quiet", critical, 0, true)});
};

TEST_F(Severities, AreThoseOfNodesAndOfTheirFaults)
{
    EXPECT_THAT(listKeys(keepSeverities(listTops(trees), {critical})),
                ElementsAre("", "/b", "/c"));
    EXPECT_THAT(listKeys(keepSeverities(listTops(trees), {warning})),
                ElementsAre("", "/a", "/b"));
    EXPECT_THAT(keepSeverities(listTops(trees), {1}), IsEmpty());
}

TEST_F(Severities, LeaveOutOtherFaults)
{
    const auto kept = keepSeverities(listTops(trees), {critical});
    const TreeNode* both = findNode(kept, root + "/b");
    ASSERT_NE(both, nullptr);
    ASSERT_EQ(both->faults.size(), 1U);
    EXPECT_EQ(both->faults.front().record.messageID(), "Hot");
    EXPECT_TRUE(both->origin.faults);
}

} // namespace
} // namespace healthintf::healthctl
