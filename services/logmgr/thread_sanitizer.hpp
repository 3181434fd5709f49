// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Tells the thread sanitizer, which does not see into LMDB, that a
 *  transaction happens after those that ended before it began. The functions do
 *  nothing in other builds. */

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace healthintf::logmgr
{

/** Called at a transaction's end: what this thread did so far happens before
 *  what others do after noteTransactionBegin(). */
inline void noteTransactionEnd([[maybe_unused]] void* store)
{
#ifdef __SANITIZE_THREAD__
    __tsan_release(store);
#endif
}

/** Called at a transaction's begin: what others did before noteTransactionEnd()
 *  happens before what this thread does from now on. */
inline void noteTransactionBegin([[maybe_unused]] void* store)
{
#ifdef __SANITIZE_THREAD__
    __tsan_acquire(store);
#endif
}

} // namespace healthintf::logmgr
