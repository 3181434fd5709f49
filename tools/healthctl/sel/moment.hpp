// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Points in time as operators write them. */

#include <cstdint>
#include <ctime>
#include <string>

namespace healthintf::healthctl
{

/** Reads a moment.
 *
 *  @param[in] now seconds since the epoch that "ago" is counted from
 *  @return seconds since the epoch
 *  @throws std::invalid_argument when the text is no moment */
int64_t parseMoment(const std::string& text, std::time_t now);

} // namespace healthintf::healthctl
