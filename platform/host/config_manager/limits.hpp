// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Limits of the configuration manager. */

#include <cstddef>

namespace healthintf::host
{

/** The longest name of an attribute, in bytes. */
inline constexpr std::size_t maxAttributeName = 255;

/** The longest name of who changes an attribute, in bytes. */
inline constexpr std::size_t maxSourceName = 4096;

/** How many attributes there may be. */
inline constexpr std::size_t maxAttributes = 4096;

/** The largest file of attributes that is read, in bytes: more than
 *  maxAttributes with the longest names need. */
inline constexpr std::size_t maxAttributeFile = 16UL << 20;

} // namespace healthintf::host
