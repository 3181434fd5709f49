#pragma once

/** @file What the configuration manager can hold. */

#include <cstddef>

namespace healthintf::host
{

/** The longest name of an attribute, in bytes. */
inline constexpr std::size_t maxAttributeName = 511;

/** The longest name of who changes an attribute, in bytes. */
inline constexpr std::size_t maxSourceName = 4096;

/** How many attributes there may be. */
inline constexpr std::size_t maxAttributes = 4096;

} // namespace healthintf::host
