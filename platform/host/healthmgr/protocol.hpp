// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus names of healthmgr: of its method by which processes request
 *  a node without waiting for a reply, of the one that dismisses a lost
 * monitor, and of silences and acknowledgements. */

namespace healthintf::host
{

/** The bus name that healthmgr owns. */
inline constexpr const char* healthmgrService = "com.vexa.olvar.healthmgr";
inline constexpr const char* healthmgrPath = "/com/vexa/olvar/healthmgr";
inline constexpr const char* healthmgrInterface = "com.vexa.olvar.healthmgr";
/** The method; its argument is the key of the node, a string. */
inline constexpr const char* addHealthObjectMethod = "AddHealthObject";

/** The message of the fault that healthmgr reports on a component whose daemon
 *  ended without giving it up. */
inline constexpr const char* monitorLostMessage =
    "HealthManager.1.0.MonitorLost";

/** The interface by which operators dismiss lost monitors. */
inline constexpr const char* lostMonitorsInterface =
    "com.vexa.olvar.healthmgr.LostMonitors";
/** Takes the fault of a lost monitor back; its argument is the component's key,
 *  a string. */
inline constexpr const char* dismissMethod = "Dismiss";
/** The error when a component has no lost monitor. */
inline constexpr const char* noLostMonitorError =
    "com.vexa.olvar.healthmgr.Error.NoLostMonitor";

/** The interface by which operators hide faults for a time. A silence is a map
 *  of the members below (a{sv}). */
inline constexpr const char* silencesInterface =
    "com.vexa.olvar.healthmgr.Silences";
/** Begins a silence; its argument has exactly one of "Component", "SensorPath"
 *  and "SensorNumber", and "Seconds" and "Comment". Its result is the silence's
 *  number, t. */
inline constexpr const char* addSilenceMethod = "Add";
/** Ends a silence; its argument is the silence's number, t. */
inline constexpr const char* endSilenceMethod = "End";
/** Its result is the silences in the order of their numbers, aa{sv}. */
inline constexpr const char* listSilencesMethod = "List";
/** Signals with the silence, a{sv}. The second has "Reason", too: "expired", or
 *  "ended" and then "EndedBy". */
inline constexpr const char* silencedSignal = "Silenced";
inline constexpr const char* silenceEndedSignal = "SilenceEnded";
/** The errors when a silence, a comment or a raised fault is none that may be,
 *  and when there are too many of the user's, of a component's or in all. */
inline constexpr const char* invalidError =
    "com.vexa.olvar.healthmgr.Error.Invalid";
inline constexpr const char* tooManyError =
    "com.vexa.olvar.healthmgr.Error.TooMany";
/** The error when no silence has a number. */
inline constexpr const char* noSilenceError =
    "com.vexa.olvar.healthmgr.Error.NoSilence";

/** The interface by which operators say that somebody sees to a fault. An
 *  acknowledgement is a map of the members below (a{sv}). */
inline constexpr const char* acknowledgementsInterface =
    "com.vexa.olvar.healthmgr.Acknowledgements";
/** Acknowledges a fault, in place of an earlier acknowledgement; its arguments
 *  are the fault entry's path and a comment, s and s. */
inline constexpr const char* acknowledgeMethod = "Acknowledge";
/** Takes an acknowledgement back; its argument is the fault entry's path, s. */
inline constexpr const char* withdrawMethod = "Withdraw";
/** Its result is the acknowledgements in the order of their faults, aa{sv}. */
inline constexpr const char* listAcknowledgementsMethod = "List";
/** Signals with the acknowledgement, a{sv}. The second has "Reason", too:
 *  "gone" when the fault is gone, or "withdrawn" and then "WithdrawnBy". */
inline constexpr const char* acknowledgedSignal = "Acknowledged";
inline constexpr const char* withdrawnSignal = "Withdrawn";
/** The error when there is no such fault. */
inline constexpr const char* noFaultError =
    "com.vexa.olvar.healthmgr.Error.NoFault";
/** The error when a fault has no acknowledgement. */
inline constexpr const char* notAcknowledgedError =
    "com.vexa.olvar.healthmgr.Error.NotAcknowledged";

/** The members of a silence and of an acknowledgement: numbers of users are u,
 *  times are seconds since the epoch, x. */
namespace members
{
inline constexpr const char* id = "Id"; // t
inline constexpr const char* component = "Component"; // s, its key
inline constexpr const char* sensorPath = "SensorPath"; // s
inline constexpr const char* sensorNumber = "SensorNumber"; // u, not 0
inline constexpr const char* seconds = "Seconds"; // u, how long
inline constexpr const char* comment = "Comment"; // s
inline constexpr const char* since = "Since"; // x
inline constexpr const char* until = "Until"; // x
inline constexpr const char* user = "User"; // u, who began it
inline constexpr const char* reason = "Reason"; // s
inline constexpr const char* endedBy = "EndedBy"; // u
inline constexpr const char* fault = "Fault"; // s, entry's path
inline constexpr const char* messageId = "MessageID"; // s
inline constexpr const char* time = "Time"; // x
inline constexpr const char* withdrawnBy = "WithdrawnBy"; // u
} // namespace members

/** What a silence ended by, and an acknowledgement. */
inline constexpr const char* expiredReason = "expired";
inline constexpr const char* endedReason = "ended";
inline constexpr const char* goneReason = "gone";
inline constexpr const char* withdrawnReason = "withdrawn";

} // namespace healthintf::host
