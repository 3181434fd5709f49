// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Divides a period into slices of one length. */

#include <cstddef>
#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** Slices of time that follow each other. */
struct TimeSlices
{
    /** Seconds since the epoch. */
    int64_t begin = 0;
    /** The length of each one in seconds. */
    int64_t length = 1;
    std::size_t count = 0;

    int64_t end() const
    {
        return begin + length * static_cast<int64_t>(count);
    }
};

/** The shortest slices of a usual length, such as 15 minutes, of which a period
 *  needs no more than @p most. They begin at whole hours of the operator's
 *  clock, or minutes, or days.
 *
 *  @param[in] since the first second
 *  @param[in] until the first second behind the period, after @p since
 *  @param[in] most at least 2 */
TimeSlices makeSlices(int64_t since, int64_t until, std::size_t most);

/** The line above slices: times of the operator's clock, each beginning above
 *  the first character of its slice; days where the slices are long. */
std::string makeAxis(const TimeSlices& slices);

} // namespace healthintf::healthctl
