#pragma once

/** @file What the host platform and our log manager agree upon, beside what
 *  every log manager has. */

#include <cstdint>

namespace healthintf::host
{

/** Stores a record with its time: `(ssyy)ayu` to `u`. */
inline constexpr const char* addSelWithTimestamp = "AddSELWithTimestamp";

/** Lists entries of a generation of the log by their sequence numbers: `ttu` to
 *  `ta(qu(ssyy)ay)tq`. */
inline constexpr const char* listLog = "ListLog";

/** Clears the log if its last entry is known: `tq` to `uq`. */
inline constexpr const char* clearUpTo = "ClearUpTo";

/** What ListLog answers as the next entry when there is none. */
inline constexpr uint64_t noSelSequence = UINT64_MAX;
/** What stands for whichever generation, and for whichever last entry. */
inline constexpr uint64_t anySelGeneration = 0;
inline constexpr uint16_t anyLastSelEntry = UINT16_MAX;

/** The log manager's own errors. */
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
