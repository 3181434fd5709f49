#pragma once

/** @file Where the log manager's System Event Log is found on D-Bus. */

namespace healthintf::names
{

inline constexpr const char* selPath = "/com/vexa/olvar/logmgr/SEL";
inline constexpr const char* selInterface = "com.vexa.olvar.logmgr.SEL";
/** The signal that the log was cleared. */
inline constexpr const char* selCleared = "ClearedSelEntries";

} // namespace healthintf::names
