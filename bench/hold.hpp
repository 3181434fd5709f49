// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Lets a program keep what it has made until other programs have used
 *  it. */

#include <unistd.h>

#include <cstdio>

namespace healthintf::bench
{

/** Prints "ready" and waits until standard input ends. */
inline void hold()
{
    std::puts("ready");
    std::fflush(stdout);
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0)
    {}
}

} // namespace healthintf::bench
