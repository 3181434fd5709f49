// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus names by which operators raise faults that no daemon
 *  reports; the object is healthmgr's own, see protocol.hpp, as are the
 *  errors of faults that may not be. */

namespace healthintf::host
{

inline constexpr const char* raisedFaultsInterface =
    "com.vexa.olvar.healthmgr.RaisedFaults";
/** Raises a fault, in place of one with the same message and sensor. Its
 *  arguments are the component's key, the message's identifier and arguments,
 *  the sensor's path and number, for how many seconds (0: until it is
 *  cleared), and whether it is for trial. */
inline constexpr const char* raiseMethod = "Raise";
inline constexpr const char* raiseArguments = "ssassuub";
/** Ends raised faults; its arguments are the component's key, empty for all,
 *  and the message's identifier, empty for any. Its result is how many faults
 *  have ended, u. */
inline constexpr const char* clearMethod = "Clear";

/** The error when a process other than healthmgr holds the component. */
inline constexpr const char* componentHeldError =
    "com.vexa.olvar.healthmgr.Error.ComponentHeld";
/** The error when no raised fault is as it was described. */
inline constexpr const char* noRaisedFaultError =
    "com.vexa.olvar.healthmgr.Error.NoRaisedFault";

/** The sensor of a raised fault that names none. */
inline constexpr const char* raisedFaultSensor =
    "/com/vexa/olvar/sensors/raised";

/** The FQDD of faults for trial, by which everybody can tell them. */
inline constexpr const char* trialFqdd = "HealthManager.Trial";

} // namespace healthintf::host
