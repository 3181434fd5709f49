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

} // namespace
} // namespace healthintf::healthctl
