// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Points in time in words. */

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** Seconds since the epoch as the operator's clock shows them, as
 *  "2026-11-21 22:13:09". */
std::string localTime(uint64_t seconds);

/** The same in at most ten columns: the time of the day when it is the day of
 *  @p now, else the date. */
std::string briefTime(uint64_t seconds, uint64_t now);

/** Seconds since the epoch for programs, as "2026-11-21T22:13:09Z". */
std::string utcTime(uint64_t seconds);

/** A time that a service has told, which may be wrong, for the functions
 *  above. */
constexpr uint64_t clockTime(int64_t seconds)
{
    return seconds < 0 ? 0 : static_cast<uint64_t>(seconds);
}

} // namespace healthintf::healthctl
