#pragma once

/** @file When a reading is worth a fault. */

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
    /** How far a reading must get back behind a limit before the level that
     *  the limit stands for is left. */
    double hysteresis = 0;
};

/** The level of a sequence of readings. */
class LevelTracker
{
  public:
    explicit LevelTracker(const Limits& limits) : limits(limits)
    {}

    /** The level after one more reading. It is not taken over: a level that
     *  could not be reported is asked for again. */
    Level next(double reading) const;

    void take(Level level)
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
