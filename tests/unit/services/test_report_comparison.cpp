// SPDX-License-Identifier: Apache-2.0
#include "report_comparison.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class ComparedReports : public testing::Test
{
  protected:
    std::vector<std::string> compare()
    {
        return comparison.compare(reports, records);
    }

    ReportComparison comparison;
    ReportedHealth::Healths reports{{"/b", 4}};
    ReportedHealth::Healths records{{"/a", 2}, {"/b", 2}};
};

TEST_F(ComparedReports, AreCorrectedOnceWhenTheyKeepDiffering)
{
    EXPECT_THAT(compare(), IsEmpty());
    EXPECT_THAT(compare(), ElementsAre("/b"));
    EXPECT_THAT(compare(), IsEmpty());
    EXPECT_THAT(compare(), IsEmpty());
}

TEST_F(ComparedReports, MayLagBehind)
{
    EXPECT_THAT(compare(), IsEmpty());
    records["/b"] = 3;
    EXPECT_THAT(compare(), IsEmpty());
    reports["/b"] = 1;
    EXPECT_THAT(compare(), IsEmpty());
    reports.clear();
    EXPECT_THAT(compare(), IsEmpty());
    reports["/b"] = 1;
    EXPECT_THAT(compare(), IsEmpty());
}

TEST_F(ComparedReports, AreCorrectedAgainAfterAnUpdate)
{
    compare();
    compare();
    comparison.noteUpdate("/a");
    EXPECT_THAT(compare(), IsEmpty());
    comparison.noteUpdate("/b");
    EXPECT_THAT(compare(), IsEmpty());
    EXPECT_THAT(compare(), ElementsAre("/b"));
}

TEST_F(ComparedReports, AreCorrectedDespiteManyUpdates)
{
    compare();
    comparison.noteUpdate("/b");
    EXPECT_THAT(compare(), ElementsAre("/b"));
}

} // namespace
} // namespace healthintf::healthmgr
