// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "output/tree_output.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

namespace healthintf::healthctl
{
namespace
{

const std::string root = "/com/vexa/olvar/health";

class TreeOutput : public testing::Test
{
  protected:
    std::string drawn(const TreeView& view = {}, bool unicode = true) const
    {
        std::ostringstream out;
        const Context context{
            .out = out, .style = Style(false, unicode), .width = {}};
        printTrees(context, {trees.data()}, view);
        return out.str();
    }

    std::vector<TreeNode> trees =
        buildTrees({{root, {3, "manager[1]"}},
                    {root + "/a", {3, "daemon[2]"}},
                    {root + "/a/deep", {2, "daemon[2]"}},
                    {root + "/gap/b", {2, "daemon[2]"}}},
                   {makeFault(root + "/a", "x", 3),
                    makeFault(root + "/a", "y", 4, 0, true)});
};

TEST_F(TreeOutput, DrawsTheTree)
{
    EXPECT_EQ(drawn(), "/com/vexa/olvar/health  warning  inherited"
                       "                                manager[1]\n"
                       "├─ a                    warning  own      "
                       "  1 fault, 1 hidden             daemon[2]\n"
                       "│  └─ deep              OK               "
                       "                                 daemon[2]\n"
                       "└─ gap                  no node\n"
                       "   └─ b                 OK               "
                       "                      no parent  daemon[2]\n");
}

TEST_F(TreeOutput, MarksANodeWhoseHolderDoesNotAnswer)
{
    trees.front().children.front().node.silent = true;
    EXPECT_NE(drawn().find("does not answer  daemon[2]\n"), std::string::npos);
}

TEST_F(TreeOutput, DrawsWithAsciiOnly)
{
    const std::string text = drawn({}, false);
    EXPECT_NE(text.find("|- a"), std::string::npos);
    EXPECT_NE(text.find("|  `- deep"), std::string::npos);
}

TEST_F(TreeOutput, ListsFaultsBelowTheirNode)
{
    const std::string text = drawn({.depth = {}, .faults = true});
    EXPECT_NE(text.find("│  │  • The message of x\n"
                        "│  │  • The message of y (hidden)\n"),
              std::string::npos)
        << text;
}

TEST_F(TreeOutput, StopsAtADepth)
{
    const std::string text = drawn({.depth = 1, .faults = false});
    EXPECT_EQ(text.find("deep"), std::string::npos);
    EXPECT_NE(text.find("gap"), std::string::npos);
}

TEST_F(TreeOutput, HasTheSameContentInJson)
{
    const auto json = toJson(trees.front(), {.depth = 2, .faults = true});
    EXPECT_EQ(json["health"], "warning");
    EXPECT_EQ(json["children"][0]["holder"], "daemon[2]");
    EXPECT_EQ(json["children"][0]["faults"].size(), 2U);
    EXPECT_EQ(json["children"][1]["health"], nullptr);
    EXPECT_EQ(json["children"][1]["children"][0]["parentMissing"], true);
    const auto cut = toJson(trees.front(), {.depth = 0, .faults = false});
    EXPECT_TRUE(cut["children"].empty());
    EXPECT_FALSE(cut.contains("faults"));
}

} // namespace
} // namespace healthintf::healthctl
