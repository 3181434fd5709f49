// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus names of the history of faults that logmgr keeps. */

#include <cstdint>

namespace healthintf::host
{

/** The bus name that logmgr owns for the history. */
inline constexpr const char* historyService = "com.vexa.olvar.logmgr.History";
inline constexpr const char* historyPath = "/com/vexa/olvar/logmgr/history";
inline constexpr const char* historyInterface = "com.vexa.olvar.logmgr.History";

/** Reads records: from which sequence number, whether backwards, how many at
 *  most, and a filter, `tbua{sv}`, to the records and from where to read on,
 *  `aa{sv}t`. */
inline constexpr const char* historyRead = "Read";
/** Removes all records but those of lasting faults: nothing to nothing. */
inline constexpr const char* historyClear = "Clear";
/** The signal of each new record: `a{sv}`. */
inline constexpr const char* historyRecorded = "Recorded";

/** The most records of one reply. */
inline constexpr uint32_t mostHistoryRecords = 1000;

// The properties.
inline constexpr const char* historyFirst = "First";
inline constexpr const char* historyLast = "Last";
inline constexpr const char* historyRecords = "Records";
inline constexpr const char* historyBytes = "Bytes";

/** The members of a record. A member that says nothing is left out. */
namespace history
{
/** A rising number that never comes again: t. */
inline constexpr const char* sequence = "Sequence";
/** Milliseconds since the epoch: x. */
inline constexpr const char* time = "Time";
/** What has happened: s. */
inline constexpr const char* kind = "Kind";
/** The component's key: s. */
inline constexpr const char* component = "Component";
/** The object path of the fault entry: s. */
inline constexpr const char* entry = "Entry";
inline constexpr const char* messageId = "MessageID";
/** The message's arguments: as. */
inline constexpr const char* args = "Args";
inline constexpr const char* message = "Message";
/** The health value of the fault, 1 to 4: u. */
inline constexpr const char* severity = "Severity";
inline constexpr const char* sensorPath = "SensorPath";
inline constexpr const char* sensorNumber = "SensorNumber";
inline constexpr const char* sensorType = "SensorType";
/** The process's name, s, id and user, u. */
inline constexpr const char* process = "Process";
inline constexpr const char* processId = "ProcessID";
inline constexpr const char* user = "User";
/** How long the fault or silence lasted, in milliseconds: x. */
inline constexpr const char* lasted = "Lasted";
/** Which occurrence of the same fault it is, from 1 on: t. */
inline constexpr const char* occurrence = "Occurrence";
/** Whether it was found later, because nobody recorded it when it happened:
 *  b. */
inline constexpr const char* missed = "Missed";
/** What a person has said to it, or the new value of an attribute: s. */
inline constexpr const char* comment = "Comment";
} // namespace history

/** The members of a filter; a record must fulfil all that are there. */
namespace history_filter
{
/** A key, to which those below it belong: s. */
inline constexpr const char* component = "Component";
/** Names of kinds: as. */
inline constexpr const char* kinds = "Kinds";
/** Health values of faults: au. */
inline constexpr const char* severities = "Severities";
inline constexpr const char* messageId = "MessageID";
/** The first millisecond since the epoch that is of interest, and the first one
 *  after it that is not: x. */
inline constexpr const char* since = "Since";
inline constexpr const char* until = "Until";
} // namespace history_filter

} // namespace healthintf::host
