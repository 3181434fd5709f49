#pragma once

/** @file What the data cache can hold. */

#include <cstddef>

namespace healthintf::host
{

/** The longest path of a record, in bytes: what LMDB takes as a key, without
 *  the one byte for the record's kind. */
inline constexpr std::size_t maxRecordPath = 510;

} // namespace healthintf::host
