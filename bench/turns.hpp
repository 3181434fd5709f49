// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The loop of programs that are measured alternately: each keeps its
 *  open files and warm caches while another one runs. */

#include "stopwatch.hpp"

#include <cstdio>
#include <iostream>

namespace healthintf::bench
{

/** Reads numbers of rounds from standard input until it ends, runs that many
 *  rounds for each, and prints the time of one. */
template <typename Round>
void takeTurns(Round&& round)
{
    long rounds = 0;
    while (std::cin >> rounds)
    {
        const Stopwatch stopwatch;
        for (long i = 0; i < rounds; ++i)
        {
            round();
        }
        stopwatch.print(rounds);
        std::fflush(stdout);
    }
}

} // namespace healthintf::bench
