// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The end of programs that keep open what they have made, for others to
 *  use. */

#include <unistd.h>

#include <cstdio>

namespace healthintf::bench
{

/** Says "ready" and waits until standard input ends. */
inline void hold()
{
    std::puts("ready");
    std::fflush(stdout);
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0)
    {}
}

} // namespace healthintf::bench
