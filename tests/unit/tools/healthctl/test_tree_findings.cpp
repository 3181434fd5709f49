// SPDX-License-Identifier: Apache-2.0
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
    const Findings findings =
        missingParents({root, root + "/a", root + "/a/b"});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_EQ(findings.front().grade, Grade::ok);
}

TEST(TreeFindings, NameEachMissingParentOnce)
{
    const Findings findings =
        missingParents({root, root + "/a/b", root + "/a/c", root + "/d"});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_EQ(findings[0].grade, Grade::problem);
    EXPECT_THAT(findings[0].text, HasSubstr("no node " + root + "/a,"));
    EXPECT_THAT(findings[0].text, HasSubstr(root + "/a/b and 1 more"));
}

TEST(TreeFindings, ReportAMissingRoot)
{
    const Findings findings = missingParents({root + "/a"});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_THAT(findings[0].text, HasSubstr("no node " + root + ","));
}

TEST(TreeFindings, SayThatKeysOutsideOfTheTreeGetNoParents)
{
    const Findings findings =
        missingParents({root, "/", "/a/b", root + "y/c", root + "/d"});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_EQ(findings[0].check, "tree.parents");
    EXPECT_EQ(findings[0].grade, Grade::problem);
    EXPECT_EQ(findings[0].text,
              "nobody hears of what is not below " + root + ": / and 2 more");
    EXPECT_THAT(findings[0].remedy, HasSubstr("keys below " + root));
}

TEST(TreeFindings, FindNothingWrongWithHoldersThatAnswer)
{
    const Findings findings = makeFindings(HolderStates{});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_EQ(findings[0].grade, Grade::ok);
    EXPECT_EQ(findings[0].check, "tree.holders");
    EXPECT_THAT(makeFindings(
                    HolderStates{.silent = {}, .absent = {}, .complete = false})
                    .at(0)
                    .text,
                HasSubstr("too many to ask all"));
}

TEST(TreeFindings, NameTheHoldersThatDoNotAnswer)
{
    const Findings findings = makeFindings(
        HolderStates{.silent = {{"fan[1]", 1}, {"psu[2]", 3}}, .absent = {}});
    ASSERT_THAT(findings, SizeIs(1));
    const Finding& finding = findings[0];
    EXPECT_EQ(finding.grade, Grade::problem);
    EXPECT_EQ(finding.text, "2 processes do not answer, and the health of "
                            "their nodes may be an old one: fan[1] with 1 "
                            "node; psu[2] with 3 nodes");
    EXPECT_FALSE(finding.remedy.empty());
}

TEST(TreeFindings, NameSilentProcessesWithUnknownNodes)
{
    const Finding finding = makeFindings(HolderStates{.silent = {{"fan[1]", 0}},
                                                      .absent = {},
                                                      .known = false})
                                .at(0);
    EXPECT_EQ(finding.grade, Grade::warning);
    EXPECT_EQ(finding.text, "1 process does not answer, and whether it has "
                            "nodes is not known: fan[1]");
    EXPECT_EQ(
        makeFindings(HolderStates{.silent = {}, .absent = {}, .known = false})
            .at(0)
            .grade,
        Grade::ok);
}

TEST(TreeFindings, NameTheHoldersThatAreNotOnTheBus)
{
    const Findings findings = makeFindings(
        HolderStates{.silent = {{"fan[1]", 1}}, .absent = {{"psu[2]", 3}}});
    ASSERT_THAT(findings, SizeIs(2));
    EXPECT_EQ(findings[1].check, "tree.holders");
    EXPECT_EQ(findings[1].grade, Grade::problem);
    EXPECT_EQ(findings[1].text,
              "1 process with nodes is not on the bus, and the health of its "
              "nodes may be an old one: psu[2] with 3 nodes");
    EXPECT_THAT(findings[1].remedy, HasSubstr("restart it"));
}

TEST(TreeFindings, FindNothingWrongWithoutALostMonitor)
{
    EXPECT_EQ(lostMonitors({}).grade, Grade::ok);
    EXPECT_EQ(lostMonitors({}).check, "tree.monitors");
    // A daemon may have ended without a healthmgr that reports it.
    EXPECT_EQ(lostMonitors({}).text,
              "no component has the fault of a lost monitor");
}

TEST(TreeFindings, NameTheComponentsThatHaveLostTheirMonitors)
{
    const Finding one = lostMonitors({{"/a", "fan[1]"}});
    EXPECT_EQ(one.grade, Grade::warning);
    EXPECT_EQ(one.text, "nobody watches 1 component: /a, since fan[1] ended");
    EXPECT_EQ(one.remedy, "start its daemon again, or \"healthctl dismiss\" "
                          "where nothing is to watch");
    EXPECT_EQ(lostMonitors({{"/a", "fan[1]"}, {"/b", "psu[2]"}}).text,
              "nobody watches 2 components: /a, since fan[1] ended; /b, since "
              "psu[2] ended");
    EXPECT_THAT(lostMonitors(std::vector<LostComponent>(12, {"/a", "x"})).text,
                testing::EndsWith("; and 2 more"));
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

TEST(TreeFindings, NameMoreThanTwoHolders)
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
