#pragma once

/** @file The free space within an LMDB file. */

#include <lmdb.h>

#include <cstddef>

namespace healthintf::logmgr
{

/** How many pages below the highest used one are free. Those that the last
 *  transactions gave up can be used again a little later only. */
std::size_t freePages(MDB_env* environment);

} // namespace healthintf::logmgr
