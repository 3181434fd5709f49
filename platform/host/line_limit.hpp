#pragma once

/** @file Keeps what others cause again and again from filling the log. */

#include "host_log.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace healthintf::host
{

/** Lets a number of lines through at once, and then one in a while, after one
 *  that says how many were left out. Thread-safe. */
class LineLimit
{
  public:
    using Clock = std::chrono::steady_clock;
    using Now = Clock::time_point (*)();

    /** How many lines may come at once. */
    static constexpr int atOnce = 10;
    /** How long it takes until there may be one line more. */
    static constexpr std::chrono::seconds oneMore{10};

    constexpr explicit LineLimit(Now now = Clock::now) : now(now)
    {}

    /** Whether a line may be logged; it counts as logged then. */
    bool admits() noexcept
    {
        if (!take())
        {
            leftOut.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        if (const unsigned int missing = leftOut.exchange(0); missing != 0)
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: %u lines like the next one were left out",
                     missing);
        }
        return true;
    }

  private:
    /** Each line moves a time by oneMore, which must not be further ahead than
     *  as many lines as may come at once. */
    bool take() noexcept
    {
        const Clock::rep step = Clock::duration(oneMore).count();
        const Clock::rep time = now().time_since_epoch().count();
        Clock::rep seen = used.load();
        for (;;)
        {
            const Clock::rep from = seen < time ? time : seen;
            if (from - time > (atOnce - 1) * step)
            {
                return false;
            }
            if (used.compare_exchange_weak(seen, from + step))
            {
                return true;
            }
        }
    }

    Now now;
    /** When all lines that were let through will be made up for. */
    std::atomic<Clock::rep> used{0};
    std::atomic<unsigned int> leftOut{0};
};

} // namespace healthintf::host
