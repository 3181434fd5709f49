#pragma once

/** @file The free space within an LMDB file. */

#include <platform/api.h>

#include <lmdb.h>

#include <cstddef>

namespace healthintf::host
{

/** How many pages below the highest used one are free. Those that the last
 *  transactions gave up can be used again a little later only. */
PLATFORM_API std::size_t freePages(MDB_env* environment);

} // namespace healthintf::host
