// SPDX-License-Identifier: Apache-2.0
#include "health_comparison.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Findings = HealthComparison::Findings;

class ComparedHealth : public testing::Test
{
  protected:
    /** Compares @p times times; this process holds all nodes without "daemon"
     *  in their names. */
    Findings compare(int times = 1)
    {
        Findings findings;
        for (int i = 0; i < times; ++i)
        {
            findings = comparison.compare(records, [](const std::string& key) {
                return key.find("daemon") == std::string::npos;
            });
        }
        return findings;
    }

    static bool asksForNothing(const Findings& findings)
    {
        return findings.untold.empty() && findings.gone.empty() &&
               findings.strangers.empty() && findings.stale.empty();
    }

    HealthComparison comparison;
    HealthComparison::Healths records{
        {"/r", 3},           {"/r/a", 3},      {"/r/a/daemon1", 3},
        {"/r/a/daemon2", 2}, {"/r/daemon", 1}, {"/r/daemon/daemon", 0}};
};

TEST_F(ComparedHealth, IsLeftAloneWhenItIsTheWorstOfTheChildren)
{
    EXPECT_TRUE(asksForNothing(compare(9)));
    EXPECT_FALSE(compare().unsettled);
}

TEST_F(ComparedHealth, IsReportedAgainWhenItKeepsDiffering)
{
    records["/r/a/daemon2"] = 4;
    EXPECT_TRUE(asksForNothing(compare()));
    const Findings findings = compare();
    EXPECT_TRUE(findings.unsettled);
    EXPECT_THAT(findings.untold, ElementsAre("/r/a/daemon1", "/r/a/daemon2"));
    EXPECT_THAT(findings.stale, IsEmpty());
}

TEST_F(ComparedHealth, MayKeepChanging)
{
    for (uint32_t i = 0; i < 20; ++i)
    {
        records["/r/a/daemon1"] = 1 + i % 2;
        records["/r/a/daemon2"] = 1 + i % 2;
        EXPECT_TRUE(asksForNothing(compare())) << i;
    }
}

TEST_F(ComparedHealth, RecreatesANodeOnceWhenReportsDoNotHelp)
{
    records = {{"/r", 3}, {"/r/a", 3}};
    EXPECT_THAT(compare(4).stale, ElementsAre("/r/a"));
    EXPECT_THAT(compare().stale, IsEmpty());
    EXPECT_TRUE(asksForNothing(compare()));
    EXPECT_FALSE(compare().unsettled);
    comparison.beginAnew();
    EXPECT_THAT(compare(4).stale, ElementsAre("/r/a"));
}

TEST_F(ComparedHealth, FindsAMissingNodeOnce)
{
    EXPECT_TRUE(asksForNothing(compare()));
    records.erase("/r/daemon/daemon");
    EXPECT_THAT(compare().gone, ElementsAre("/r/daemon/daemon"));
    EXPECT_TRUE(asksForNothing(compare()));
    records.erase("/r/daemon");
    comparison.noteEnd("/r/daemon");
    EXPECT_TRUE(asksForNothing(compare())) << "its parent was told";
}

TEST_F(ComparedHealth, IsKeptApartForKeysWithACommonPrefix)
{
    records = {{"/r", 3}, {"/r/a", 3}, {"/r/a1", 3}, {"/r/a1/b", 3}};
    EXPECT_THAT(compare(2).strangers, ElementsAre(Pair("/r/a", "/r/a1")));
}

TEST_F(ComparedHealth, OfADaemonsNodeIsKeptApartFromAKeyThatBeginsWithItsKey)
{
    records["/r/a/daemon3"] = 3;
    records["/r/a/daemon30"] = 2;
    const Findings findings = compare(2);
    EXPECT_THAT(findings.strangers,
                ElementsAre(Pair("/r/a/daemon3", "/r/a/daemon30")));
    EXPECT_THAT(findings.untold, IsEmpty());
    // It may be worse by its own faults: it is told once.
    EXPECT_TRUE(asksForNothing(compare()));
    EXPECT_TRUE(asksForNothing(compare(9)));
    EXPECT_FALSE(compare().unsettled);
}

TEST_F(ComparedHealth, IsKeptApartAnewInTheNextNodeOfAKey)
{
    records["/r/a/daemon3"] = 3;
    records["/r/a/daemon30"] = 2;
    compare(3);
    comparison.noteEnd("/r/a/daemon3");
    EXPECT_THAT(compare(2).strangers,
                ElementsAre(Pair("/r/a/daemon3", "/r/a/daemon30")));
}

TEST_F(ComparedHealth, OfADaemonsNodeMayBeWorseThanThatOfItsChildren)
{
    records["/r/daemon"] = 3;
    records["/r/daemon/daemon"] = 2;
    EXPECT_TRUE(asksForNothing(compare(2)));
    EXPECT_FALSE(compare().unsettled);
}

TEST_F(ComparedHealth, OfADaemonsNodeThatIsBetterThanAChildIsReportedOnce)
{
    records["/r/daemon/daemon"] = 2;
    EXPECT_TRUE(compare().unsettled);
    EXPECT_THAT(compare().untold, ElementsAre("/r/daemon/daemon"));
    for (int i = 0; i < 9; ++i)
    {
        const Findings findings = compare();
        EXPECT_TRUE(asksForNothing(findings)) << i;
        EXPECT_FALSE(findings.unsettled) << "the daemon may calculate it so";
        comparison.beginAnew();
    }
    records["/r/daemon/daemon"] = 3;
    EXPECT_THAT(compare(2).untold, ElementsAre("/r/daemon/daemon"));
}

TEST_F(ComparedHealth, OfADaemonsNodeIsReportedAgainAfterAnUpdate)
{
    records["/r/daemon/daemon"] = 2;
    compare(3);
    comparison.noteUpdate("/r");
    EXPECT_TRUE(asksForNothing(compare(2)));
    comparison.noteUpdate("/r/daemon");
    EXPECT_THAT(compare(2).untold, ElementsAre("/r/daemon/daemon"));
}

TEST_F(ComparedHealth, OfADaemonsNodeIsReportedDespiteManyUpdates)
{
    records["/r/daemon/daemon"] = 2;
    compare();
    comparison.noteUpdate("/r/daemon");
    EXPECT_THAT(compare().untold, ElementsAre("/r/daemon/daemon"));
}

TEST_F(ComparedHealth, RecreatesANodeDespiteUpdates)
{
    records = {{"/r", 3}, {"/r/a", 3}};
    compare(3);
    comparison.noteUpdate("/r/a");
    EXPECT_THAT(compare().stale, ElementsAre("/r/a"));
}

} // namespace
} // namespace healthintf::healthmgr
