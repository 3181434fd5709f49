// SPDX-License-Identifier: Apache-2.0
#include <doctor/history_findings.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

TEST(HistoryFindings, CountTheRecordsOfAHistoryThatIsKept)
{
    const Finding finding =
        makeFinding({.offered = true, .failure = "", .records = 7});
    EXPECT_EQ(finding.check, "history");
    EXPECT_EQ(finding.grade, Grade::ok);
    EXPECT_EQ(finding.text, "the history of faults is kept, records: 7");
    EXPECT_EQ(finding.remedy, "");
}

TEST(HistoryFindings, NameAHistoryThatCannotBeReadAProblem)
{
    const Finding finding = makeFinding(
        {.offered = true, .failure = "the disk is gone", .records = 0});
    EXPECT_EQ(finding.grade, Grade::problem);
    EXPECT_EQ(finding.text,
              "the history of faults cannot be read: the disk is gone");
    EXPECT_THAT(finding.remedy, HasSubstr("log of logmgr"));
}

TEST(HistoryFindings, FindNothingWrongWithoutAHistory)
{
    const Finding finding = makeFinding(
        {.offered = false, .failure = "nobody has it", .records = 0});
    EXPECT_EQ(finding.grade, Grade::ok);
    EXPECT_THAT(finding.text, HasSubstr("history = false"));
    EXPECT_EQ(finding.remedy, "");
}

} // namespace
} // namespace healthintf::healthctl
