// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Measures wall and CPU time of a loop. */

#include <chrono>
#include <cstdio>
#include <ctime>

namespace healthintf::bench
{

/** Starts at construction. */
class Stopwatch
{
  public:
    /** Prints the microseconds of one round: wall, then CPU. */
    void print(long rounds) const
    {
        const std::chrono::duration<double, std::micro> wall =
            std::chrono::steady_clock::now() - wallStart;
        const double cpu =
            static_cast<double>(std::clock() - cpuStart) * 1e6 / CLOCKS_PER_SEC;
        std::printf("%.2f %.2f\n", wall.count() / static_cast<double>(rounds),
                    cpu / static_cast<double>(rounds));
    }

  private:
    std::chrono::steady_clock::time_point wallStart =
        std::chrono::steady_clock::now();
    std::clock_t cpuStart = std::clock();
};

} // namespace healthintf::bench
