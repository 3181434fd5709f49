#include "doctor/match_limit.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

TEST(MatchLimitProbe, FindsTheLimitOfTheBus)
{
    const test::PrivateBus bus;
    const auto limit = probeMatchLimit(513);
    ASSERT_TRUE(limit);
    EXPECT_EQ(limit->made, 512u);
    EXPECT_TRUE(limit->isLimit);
}

TEST(MatchLimitProbe, TriesNoMoreThanIsWanted)
{
    const test::PrivateBus bus;
    const auto limit = probeMatchLimit(512);
    ASSERT_TRUE(limit);
    EXPECT_EQ(limit->made, 512u);
    EXPECT_FALSE(limit->isLimit);
}

TEST(MatchLimitProbe, LeavesNothingBehind)
{
    const test::PrivateBus bus;
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(probeMatchLimit(513)->made, 512u);
    }
}

TEST(MatchLimitProbe, FindsNothingWithoutABus)
{
    test::PrivateBus bus;
    bus.kill();
    EXPECT_FALSE(probeMatchLimit(1));
}

} // namespace
} // namespace healthintf::healthctl
