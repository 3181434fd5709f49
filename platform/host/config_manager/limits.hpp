#pragma once

/** @file What the configuration manager can hold. */

#include <cstddef>

namespace healthintf::host
{

/** The longest name of an attribute, in bytes: what LMDB takes as a key. */
inline constexpr std::size_t maxAttributeName = 511;

/** The longest name of who changes an attribute, in bytes. */
inline constexpr std::size_t maxSourceName = 4096;

/** How many bytes the attributes may take: a page of 4096 holds 7 with the
 *  longest names, and a hundred with short ones. */
inline constexpr std::size_t attributeCapacity = 4UL << 20;

} // namespace healthintf::host
