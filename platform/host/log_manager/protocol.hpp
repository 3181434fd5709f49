#pragma once

/** @file What the host platform and the log manager agree upon. */

namespace healthintf::host
{

/** The object that stands for the whole log. */
inline constexpr const char* selObject = "/com/vexa/olvar/logmgr/SEL";
/** The path of an entry in the data cache, before its identifier in five
 *  digits. */
inline constexpr const char* selEntryPaths = "/com/vexa/olvar/logmgr/selentry/";

inline constexpr const char* selObjectInterface = "com.vexa.olvar.logmgr.SEL";
/** Stores a record: `(ssyy)ay` to `u`. */
inline constexpr const char* addSel = "AddSEL";
/** The same with the record's time: `(ssyy)ayu` to `u`. */
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
