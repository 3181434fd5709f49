// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Measures the cost of single steps of a loop. */

#include <valgrind/callgrind.h>

#include <cstdio>
#include <ctime>

namespace healthintf::bench
{

/** Times steps, and makes callgrind count their instructions alone: the set-up
 *  takes so many that they would hide those of the steps. Start callgrind with
 *  --instr-atstart=no --collect-atstart=no. */
class StepMeter
{
  public:
    /** Makes callgrind follow the program from here on, which slows it down. */
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

    /** Prints the number of steps, and the CPU microseconds of one. */
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
