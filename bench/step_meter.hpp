// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What a single step of a loop costs. */

#include <valgrind/callgrind.h>

#include <cstdio>
#include <ctime>

namespace healthintf::bench
{

/** Times steps, and lets callgrind count their instructions and no others:
 *  what has been built up before is large, and would hide them. Callgrind is to
 *  be started with --instr-atstart=no --collect-atstart=no. */
class StepMeter
{
  public:
    /** From here on callgrind follows the program, which makes it slow. */
    StepMeter()
    {
        CALLGRIND_START_INSTRUMENTATION;
    }

    template <typename Step>
    void take(Step&& step)
    {
        const std::clock_t start = std::clock();
        CALLGRIND_TOGGLE_COLLECT;
        step();
        CALLGRIND_TOGGLE_COLLECT;
        taken += std::clock() - start;
        ++steps;
    }

    /** Prints the steps, and the CPU microseconds of one. */
    void print() const
    {
        std::printf("%ld %.2f\n", steps,
                    static_cast<double>(taken) * 1e6 / CLOCKS_PER_SEC /
                        static_cast<double>(steps));
    }

  private:
    long steps = 0;
    std::clock_t taken = 0;
};

} // namespace healthintf::bench
