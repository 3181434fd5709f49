#pragma once

/** @file Where the log manager's System Event Log is found on D-Bus; the
 *  platform knows some of it too. */

#include <platform/sel_interface.hpp>

namespace healthintf::names
{

/** The log manager's bus name. */
inline constexpr const char* logManagerService = "com.vexa.olvar.logmgr";
/** The object that stands for the log. */
inline constexpr const char* selPath = SELInterface::logPath;
/** Its interface. */
inline constexpr const char* selInterface = SELInterface::logInterface;
/** The method that stores a record: `(ssyy)ay` to `u`. */
inline constexpr const char* addSelMethod = SELInterface::addMethod;
/** The signal that the log was cleared. */
inline constexpr const char* selCleared = "ClearedSelEntries";
/** The signal that announces a record, `ay`, before it is stored. It comes
 *  from a path below that of the log which ends in the sensor's number. */
inline constexpr const char* selEvent = "SignalSELEvent";
/** The path of an entry in the data cache, before its identifier in five
 *  digits. */
inline constexpr const char* selEntryPrefix = SELInterface::entryPrefix;

} // namespace healthintf::names
