// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Counts the free pages of an LMDB file. */

#include <lmdb.h>

#include <cstddef>

namespace healthintf::logmgr
{

/** Counts the free pages below the highest used one. LMDB reuses pages that the
 *  latest transactions freed only after another transaction or two. */
std::size_t freePages(MDB_env* environment);

/** Whether the lists of free pages can be right: a change writes to the pages
 *  that they name.
 *
 *  @throws LmdbError when they cannot be read */
bool areFreePagesPlausible(MDB_env* environment);

} // namespace healthintf::logmgr
