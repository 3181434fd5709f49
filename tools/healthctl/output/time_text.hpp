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

/** Seconds since the epoch for programs, as "2026-11-21T22:13:09Z". */
std::string utcTime(uint64_t seconds);

} // namespace healthintf::healthctl
