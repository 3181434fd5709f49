// SPDX-License-Identifier: Apache-2.0
#include "limits.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace healthintf::hostmon
{
namespace
{

constexpr Limits above{.direction = Direction::above,
                       .warning = 80,
                       .critical = 90,
                       .hysteresis = 5};
constexpr Limits below{.direction = Direction::below,
                       .warning = 20,
                       .critical = 10,
                       .hysteresis = 5};

/** The levels of a sequence of readings. */
std::vector<Level> levels(const Limits& limits,
                          const std::vector<double>& readings)
{
    LevelTracker tracker(limits);
    std::vector<Level> found;
    for (const double reading : readings)
    {
        tracker.setLevel(tracker.nextLevel(reading));
        found.push_back(tracker.level());
    }
    return found;
}

constexpr Level ok = Level::ok;
constexpr Level warning = Level::warning;
constexpr Level critical = Level::critical;

TEST(LevelOfReadings, IsReachedAtItsLimit)
{
    EXPECT_EQ(levels(above, {79.9, 80, 89.9, 90, 100}),
              (std::vector{ok, warning, warning, critical, critical}));
    EXPECT_EQ(levels(below, {20.1, 20, 10.1, 10, 0}),
              (std::vector{ok, warning, warning, critical, critical}));
}

TEST(LevelOfReadings, IsLeftOnlyBehindTheHysteresis)
{
    EXPECT_EQ(levels(above, {95, 89, 85, 84.9, 79, 75, 74.9}),
              (std::vector{critical, critical, critical, warning, warning,
                           warning, ok}));
    EXPECT_EQ(levels(below, {5, 11, 15, 15.1, 21, 25, 25.1}),
              (std::vector{critical, critical, critical, warning, warning,
                           warning, ok}));
}

TEST(LevelOfReadings, MayFallByTwoLevelsAtOnce)
{
    EXPECT_EQ(levels(above, {95, 50}), (std::vector{critical, ok}));
    EXPECT_EQ(levels(above, {50, 95}), (std::vector{ok, critical}));
}

TEST(LevelOfReadings, DoesNotFlapAroundALimit)
{
    EXPECT_EQ(levels(above, {80, 79, 81, 78, 80}),
              std::vector<Level>(5, warning));
}

TEST(LevelOfReadings, IsNotChangedByAskingForTheNext)
{
    const LevelTracker tracker(above);
    EXPECT_EQ(tracker.nextLevel(95), critical);
    EXPECT_EQ(tracker.level(), ok);
    EXPECT_EQ(tracker.nextLevel(85), warning);
}

TEST(LevelOfReadings, MayHaveOneLimitForBothLevels)
{
    EXPECT_EQ(levels({.direction = Direction::below,
                      .warning = 0.5,
                      .critical = 0.5,
                      .hysteresis = 0},
                     {1, 0, 1}),
              (std::vector{ok, critical, ok}));
}

} // namespace
} // namespace healthintf::hostmon
