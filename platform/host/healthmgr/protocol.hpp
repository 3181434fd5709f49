// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus names of healthmgr, of its method by which processes request
 *  a node without waiting for a reply, and of the one that dismisses a lost
 *  monitor. */

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

} // namespace healthintf::host
