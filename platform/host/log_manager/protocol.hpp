#pragma once

/** @file What the host platform and our log manager agree upon, beside what
 *  every log manager has. */

namespace healthintf::host
{

/** Stores a record with its time: `(ssyy)ayu` to `u`. */
inline constexpr const char* addSelWithTimestamp = "AddSELWithTimestamp";

/** The log manager's own errors. */
inline constexpr const char* selInvalidRecord =
    "com.vexa.olvar.logmgr.Error.InvalidRecord";
inline constexpr const char* selFull = "com.vexa.olvar.logmgr.Error.Full";
inline constexpr const char* selNotStored =
    "com.vexa.olvar.logmgr.Error.NotStored";
inline constexpr const char* selNoSuchEntry =
    "com.vexa.olvar.logmgr.Error.NoSuchEntry";

} // namespace healthintf::host
