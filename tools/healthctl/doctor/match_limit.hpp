// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How many match rules the bus allows a connection. */

#include "match_findings.hpp"

#include <cstdint>
#include <optional>

namespace healthintf::healthctl
{

/** Makes match rules on a connection of its own until the bus refuses one, and
 *  ends the connection: a bus does not tell its limit.
 *
 *  @param[in] enough how many are made at most
 *  @return nothing when there is no further connection, or when the bus fails
 *          in another way than by its limit */
std::optional<MatchLimit> probeMatchLimit(uint32_t enough);

} // namespace healthintf::healthctl
