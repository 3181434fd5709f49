// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps repeated lines that others cause from filling the log. */

#include "host_log.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace healthintf::host
{

/** Admits a number of lines at once, and then one line in each period, preceded
 *  by a line that counts the omitted ones. Thread-safe. */
class LineLimit
{
  public:
    using Clock = std::chrono::steady_clock;
    using Now = Clock::time_point (*)();

    /** How many lines are admitted at once. */
    static constexpr int burst = 10;
    /** The period after which one more line is admitted. */
    static constexpr std::chrono::seconds refillTime{10};

    constexpr explicit LineLimit(Now now = Clock::now) : now(now)
    {}

    /** Whether to log a line, which then counts as logged. */
    bool admits() noexcept
    {
        if (!take())
        {
            omitted.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        if (const unsigned int missing = omitted.exchange(0); missing != 0)
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: %u lines like the next one were left out",
                     missing);
        }
        return true;
    }

  private:
    /** Each admitted line moves a time forward by refillTime. A line is refused
     *  when that time is ahead of now by more than the lines that may come at
     *  once. */
    bool take() noexcept
    {
        const Clock::rep step = Clock::duration(refillTime).count();
        const Clock::rep time = now().time_since_epoch().count();
        Clock::rep seen = used.load();
        for (;;)
        {
            const Clock::rep from = seen < time ? time : seen;
            if (from - time > (burst - 1) * step)
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
    /** The time that admitted lines move forward. */
    std::atomic<Clock::rep> used{0};
    std::atomic<unsigned int> omitted{0};
};

} // namespace healthintf::host
