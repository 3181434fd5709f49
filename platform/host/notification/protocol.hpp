// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus signal of a notification: healthmgr sends it to everybody,
 *  with the notification's name and record. */

namespace healthintf::host
{

inline constexpr const char* notificationPath = "/com/vexa/olvar/notification";
inline constexpr const char* notificationInterface =
    "com.vexa.olvar.Notification";
inline constexpr const char* notificationMember = "Notified";
/** The name, and the bytes of the record. */
inline constexpr const char* notificationSignature = "say";

} // namespace healthintf::host
