// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The clock of the library in a test program that includes this: it
 *  stands where the test puts it. */

#include "wall_clock.hpp"

#include <cstdint>

namespace healthintf::test
{

constexpr uint64_t clockStart = 1'700'000'000;

inline uint64_t clockReads = clockStart;

} // namespace healthintf::test

// In the place of the library's, which is an object file of its own.
uint64_t health_namespace::details::secondsSinceEpoch()
{
    return healthintf::test::clockReads;
}
