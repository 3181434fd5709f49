#include <doctor/tree_findings.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;
using testing::SizeIs;

const std::string root = "/com/vexa/olvar/health";

TEST(TreeFindings, FindNothingWrongWithAWholeTree)
{
    const std::vector<NodeState> nodes{
        {root, 1, true}, {root + "/a", 2, true}, {root + "/a/b", 3, true}};
    ASSERT_THAT(deadOwners(nodes), SizeIs(1));
    EXPECT_EQ(deadOwners(nodes).front().grade, Grade::ok);
    EXPECT_THAT(deadOwners(nodes).front().text, HasSubstr("all 3 nodes"));
    ASSERT_THAT(missingParents(nodes), SizeIs(1));
    EXPECT_EQ(missingParents(nodes).front().grade, Grade::ok);
}

TEST(TreeFindings, NameEachDeadProcessOnce)
{
    const Findings findings = deadOwners({{root + "/a", 7, false},
                                          {root + "/b", 7, false},
                                          {root + "/c", 8, false},
                                          {root + "/d", 9, true}});
    ASSERT_THAT(findings, SizeIs(2));
    EXPECT_EQ(findings[0].grade, Grade::problem);
    EXPECT_THAT(findings[0].text, HasSubstr("process 7"));
    EXPECT_THAT(findings[0].text, HasSubstr(root + "/a and 1 more"));
    EXPECT_THAT(findings[1].text, HasSubstr("process 8"));
    EXPECT_THAT(findings[1].remedy, HasSubstr("healthmgr"));
}

TEST(TreeFindings, NameEachMissingParentOnce)
{
    const Findings findings = missingParents({{root, 1, true},
                                              {root + "/a/b", 2, true},
                                              {root + "/a/c", 2, true},
                                              {root + "/d", 2, true}});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_EQ(findings[0].grade, Grade::problem);
    EXPECT_THAT(findings[0].text, HasSubstr("no node " + root + "/a,"));
    EXPECT_THAT(findings[0].text, HasSubstr(root + "/a/b and 1 more"));
}

TEST(TreeFindings, MissTheRootAboveItsChildren)
{
    const Findings findings = missingParents({{root + "/a", 1, true}});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_THAT(findings[0].text, HasSubstr("no node " + root + ","));
}

TEST(TreeFindings, FindNothingWrongWithKeysThatOneProcessHolds)
{
    EXPECT_EQ(sharedKeys({}, 0).grade, Grade::ok);
    EXPECT_EQ(sharedKeys({}, 0).check, "tree.claims");
}

TEST(TreeFindings, NameTheHoldersOfASharedKey)
{
    const Finding finding = sharedKeys(
        {{root + "/a", {"fan[1] (user fans)", "test[2] (user dev)"}}}, 1);
    EXPECT_EQ(finding.grade, Grade::warning);
    EXPECT_EQ(finding.text, "1 key is held by two processes: " + root +
                                "/a by fan[1] (user fans) and test[2] (user "
                                "dev)");
    EXPECT_FALSE(finding.remedy.empty());
}

TEST(TreeFindings, TellOfMoreThanTwoHolders)
{
    EXPECT_EQ(
        sharedKeys({{"/a", {"x[1]", "y[2]"}}, {"/b", {"x[1]", "y[2]", "z[3]"}}},
                   2)
            .text,
        "2 keys are held by several processes: /a by x[1] and y[2]; /b "
        "by x[1] and y[2] and z[3]");
}

TEST(TreeFindings, NameTenSharedKeysAndCountTheOthers)
{
    const std::vector<SharedKey> ten(10, {"/a", {"x[1]", "y[2]"}});
    std::vector<SharedKey> eleven = ten;
    eleven.push_back({"/last", {"x[1]", "y[2]"}});
    EXPECT_THAT(sharedKeys(ten, 10).text, testing::EndsWith("y[2]"));
    EXPECT_THAT(sharedKeys(eleven, 500).text,
                testing::AllOf(testing::EndsWith("; and 490 more"),
                               testing::Not(HasSubstr("/last"))));
}

} // namespace
} // namespace healthintf::healthctl
