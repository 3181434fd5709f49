// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Which readings are faults. */

namespace healthintf::hostmon
{

/** How bad a reading is. */
enum class Level
{
    ok,
    warning,
    critical,
};

/** On which side of a limit readings are bad. */
enum class Direction
{
    above,
    below,
};

/** The limits of one kind of reading. A limit is reached when the reading
 *  equals it. */
struct Limits
{
    Direction direction = Direction::above;
    double warning = 0;
    double critical = 0;
    /** How far a reading must get back behind a limit before its level is
     *  left. */
    double hysteresis = 0;
};

/** Follows the level of a source from reading to reading. */
class LevelTracker
{
  public:
    explicit LevelTracker(const Limits& limits) : limits(limits)
    {}

    /** The level that the next reading leads to. Does not change the current
     *  level. */
    Level nextLevel(double reading) const;

    void setLevel(Level level)
    {
        current = level;
    }

    Level level() const
    {
        return current;
    }

  private:
    bool reaches(double reading, double limit) const;

    Limits limits;
    Level current = Level::ok;
};

} // namespace healthintf::hostmon
