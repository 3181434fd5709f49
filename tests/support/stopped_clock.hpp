// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Replaces the library's clock in a test program: it shows the time that
 *  the test sets. */

#include "wall_clock.hpp"

#include <cstdint>

namespace healthintf::test
{

constexpr uint64_t clockStart = 1'700'000'000;

inline uint64_t clockReads = clockStart;

} // namespace healthintf::test

// The linker takes this instead of the library's, which is in an object file of
// its own.
uint64_t health_namespace::details::secondsSinceEpoch()
{
    return healthintf::test::clockReads;
}
