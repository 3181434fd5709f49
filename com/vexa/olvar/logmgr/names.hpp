// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus names of logmgr's System Event Log; some of them are defined
 *  by the platform. */

#include <platform/sel_interface.hpp>

namespace healthintf::names
{

/** The bus name of logmgr. */
inline constexpr const char* logmgrService = "com.vexa.olvar.logmgr";
/** The object of the log. */
inline constexpr const char* selPath = SELInterface::logPath;
/** Its interface. */
inline constexpr const char* selInterface = SELInterface::logInterface;
/** The method that stores a record: `(ssyy)ay` to `u`. */
inline constexpr const char* addSelMethod = SELInterface::addMethod;
/** The signal that the log was cleared. */
inline constexpr const char* selCleared = "ClearedSelEntries";
/** The signal that announces a record, `ay`, before it is stored. Its path is
 *  that of the log, a slash and the sensor's number. */
inline constexpr const char* selEvent = "SignalSELEvent";
/** The path of an entry in the data cache, before its identifier in five
 *  digits. */
inline constexpr const char* selEntryPrefix = SELInterface::entryPrefix;

} // namespace healthintf::names
