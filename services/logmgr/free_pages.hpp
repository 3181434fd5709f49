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

} // namespace healthintf::logmgr
