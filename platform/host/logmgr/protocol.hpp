// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Methods, errors and special values of our logmgr that other log
 *  managers need not have. */

#include <cstdint>

namespace healthintf::host
{

/** Stores a record with its timestamp: `(ssyy)ayu` to `u`. */
inline constexpr const char* addSelWithTimestamp = "AddSELWithTimestamp";

/** Lists entries of one generation of the log by their sequence numbers: `ttu`
 *  to `ta(qu(ssyy)ay)tq`. */
inline constexpr const char* listLog = "ListLog";

/** Clears the log unless it has changed since the caller read it: `tq` to
 *  `uq`. */
inline constexpr const char* clearUpTo = "ClearUpTo";

/** The next entry in ListLog's reply when there is none. */
inline constexpr uint64_t noSelSequence = UINT64_MAX;
/** In the place of a generation, and of a last entry: any. */
inline constexpr uint64_t anySelGeneration = 0;
inline constexpr uint16_t anyLastSelEntry = UINT16_MAX;

/** The D-Bus errors of logmgr. */
inline constexpr const char* selInvalidRecord =
    "com.vexa.olvar.logmgr.Error.InvalidRecord";
inline constexpr const char* selFull = "com.vexa.olvar.logmgr.Error.Full";
inline constexpr const char* selNotStored =
    "com.vexa.olvar.logmgr.Error.NotStored";
inline constexpr const char* selNoSuchEntry =
    "com.vexa.olvar.logmgr.Error.NoSuchEntry";
inline constexpr const char* selOldGeneration =
    "com.vexa.olvar.logmgr.Error.OldGeneration";
inline constexpr const char* selGrown = "com.vexa.olvar.logmgr.Error.Grown";

} // namespace healthintf::host
