// SPDX-License-Identifier: Apache-2.0
#include "wall_clock.hpp"

#include <gtest/gtest.h>

#include <ctime>

namespace health_namespace::details
{
namespace
{

TEST(WallClock, CountsWholeSecondsSinceTheEpoch)
{
    const auto before = static_cast<uint64_t>(std::time(nullptr));
    const uint64_t now = secondsSinceEpoch();
    const auto after = static_cast<uint64_t>(std::time(nullptr));
    // time() may lag behind the precise clock by a tick.
    EXPECT_GE(now, before);
    EXPECT_LE(now, after + 1);
}

} // namespace
} // namespace health_namespace::details
