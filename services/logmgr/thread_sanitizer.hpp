#pragma once

/** @file Tells the thread sanitizer what LMDB guarantees, into which it does
 *  not see: a transaction comes after those that ended before it began. Nothing
 *  at all in other builds. */

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace healthintf::logmgr
{

/** What this thread did so far comes before what others do after
 *  comeAfter(). */
inline void comeBefore([[maybe_unused]] void* store)
{
#ifdef __SANITIZE_THREAD__
    __tsan_release(store);
#endif
}

/** What others did before comeBefore() comes before what this thread does from
 *  now on. */
inline void comeAfter([[maybe_unused]] void* store)
{
#ifdef __SANITIZE_THREAD__
    __tsan_acquire(store);
#endif
}

} // namespace healthintf::logmgr
