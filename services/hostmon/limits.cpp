// SPDX-License-Identifier: Apache-2.0
#include "limits.hpp"

namespace healthintf::hostmon
{

bool LevelTracker::reaches(double reading, double limit) const
{
    return limits.direction == Direction::above ? reading >= limit
                                                : reading <= limit;
}

Level LevelTracker::nextLevel(double reading) const
{
    // A level that was reached is left only behind its limit and hysteresis.
    const double slack = limits.direction == Direction::above
                             ? -limits.hysteresis
                             : limits.hysteresis;
    const auto currentLimit = [&](double limit, Level level) {
        return current >= level ? limit + slack : limit;
    };
    if (reaches(reading, currentLimit(limits.critical, Level::critical)))
    {
        return Level::critical;
    }
    if (reaches(reading, currentLimit(limits.warning, Level::warning)))
    {
        return Level::warning;
    }
    return Level::ok;
}

} // namespace healthintf::hostmon
