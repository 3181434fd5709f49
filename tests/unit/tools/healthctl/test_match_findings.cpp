// SPDX-License-Identifier: Apache-2.0
#include <doctor/match_findings.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

TEST(MatchFindings, LookAtTheConnectionWithMostMatchRules)
{
    const MatchUses uses{{{"a", 3}, {"b", 408}, {"c", 0}}};
    EXPECT_EQ(makeFinding(uses, std::nullopt).text,
              "at most 408 match rules on one connection, that of b");
    EXPECT_EQ(makeFinding(uses, MatchLimit{512, true}).grade, Grade::ok);
    EXPECT_THAT(makeFinding(uses, MatchLimit{512, true}).text,
                HasSubstr("that of b; the bus allows 512"));
}

TEST(MatchFindings, WarnWhenMatchRulesComeNearTheBussLimit)
{
    const MatchUses uses{{{"a", 410}}};
    EXPECT_EQ(makeFinding(uses, MatchLimit{512, true}).grade, Grade::warning);
    EXPECT_EQ(makeFinding(uses, MatchLimit{4096, true}).grade, Grade::ok);
}

TEST(MatchFindings, DoNotWarnOfALimitThatTheBusHasNot)
{
    for (const uint32_t rules : {0U, 1U, 4U, 408U, 410U, 19'999U})
    {
        const MatchUses uses{{{"a", rules}}};
        const std::optional<uint32_t> enough = rulesToTry(uses);
        ASSERT_TRUE(enough);
        EXPECT_EQ(makeFinding(uses, MatchLimit{*enough, false}).grade,
                  Grade::ok);
        // Even as a limit it would be far enough away.
        EXPECT_EQ(makeFinding(uses, MatchLimit{*enough, true}).grade,
                  Grade::ok);
    }
}

TEST(MatchFindings, ProbeOnlyALimitedNumberOfMatchRules)
{
    EXPECT_EQ(rulesToTry(MatchUses{{{"a", 20'000}}}), std::nullopt);
    EXPECT_EQ(rulesToTry(std::nullopt), std::nullopt);
}

TEST(MatchFindings, WarnWhenAUserComesNearTheBussLimit)
{
    const MatchQuotas quotas{{"root", 9000, 16'384}, {"fans", 410, 512}};
    EXPECT_EQ(makeFinding(quotas).grade, Grade::warning);
    EXPECT_EQ(makeFinding(quotas).text,
              "all connections of the user fans have 410 match rules "
              "together; the bus allows 512");
    EXPECT_THAT(makeFinding(quotas).remedy,
                HasSubstr("max_match_rules_per_connection"));
    EXPECT_EQ(makeFinding(MatchQuotas{{"root", 9000, 16'384}}).grade,
              Grade::ok);
}

TEST(MatchFindings, ReportThatTheBusTellsOfNoRules)
{
    EXPECT_EQ(makeFinding(MatchUses(), std::nullopt).grade, Grade::ok);
}

} // namespace
} // namespace healthintf::healthctl
