// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The present time. */

#include <chrono>
#include <cstdint>
#include <ctime>

namespace healthintf::history
{

inline std::chrono::nanoseconds readClock(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return std::chrono::seconds(now.tv_sec) +
           std::chrono::nanoseconds(now.tv_nsec);
}

inline int64_t toMilliseconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

/** The time by two clocks. */
struct Now
{
    /** Milliseconds since the epoch. */
    int64_t wall = 0;
    /** By CLOCK_MONOTONIC, so that durations are right when the clock is
     *  set. */
    std::chrono::nanoseconds steady{};

    static Now read()
    {
        return {.wall = toMilliseconds(readClock(CLOCK_REALTIME)),
                .steady = readClock(CLOCK_MONOTONIC)};
    }
};

} // namespace healthintf::history
