// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The loop of programs that are measured in turn: each works only when
 *  it is told to, and keeps what it has opened and warmed up. */

#include "stopwatch.hpp"

#include <cstdio>
#include <iostream>

namespace healthintf::bench
{

/** Reads numbers of rounds from standard input until it ends, and for each
 *  prints the time of a round. */
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
