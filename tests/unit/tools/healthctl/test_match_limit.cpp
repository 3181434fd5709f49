// SPDX-License-Identifier: Apache-2.0
#include "doctor/match_limit.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

class MatchLimitProbe : public testing::Test
{
  protected:
    test::PrivateBus bus{test::openRules + test::matchRuleLimit(512)};
};

TEST_F(MatchLimitProbe, FindsTheLimitOfTheBus)
{
    const auto limit = probeMatchLimit(513);
    ASSERT_TRUE(limit);
    EXPECT_EQ(limit->made, 512u);
    EXPECT_TRUE(limit->isLimit);
}

TEST_F(MatchLimitProbe, TriesNoMoreRulesThanRequested)
{
    const auto limit = probeMatchLimit(512);
    ASSERT_TRUE(limit);
    EXPECT_EQ(limit->made, 512u);
    EXPECT_FALSE(limit->isLimit);
}

TEST_F(MatchLimitProbe, LeavesNothingBehind)
{
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(probeMatchLimit(513)->made, 512u);
    }
}

TEST_F(MatchLimitProbe, FindsNothingWithoutABus)
{
    bus.kill();
    EXPECT_FALSE(probeMatchLimit(1));
}

} // namespace
} // namespace healthintf::healthctl
