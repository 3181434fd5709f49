// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Lengths of time in words. */

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** A length of time in its two largest units, as "350ms", "42s", "5m 3s" or
 *  "3d 4h"; the rest is cut off. A negative one is none. */
std::string durationText(int64_t milliseconds);

} // namespace healthintf::healthctl
