// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Simulates a machine without a bus. */

#include <cstdlib>

namespace healthintf::test
{

/** Points this process to buses that do not exist; it must not be connected
 *  yet. */
inline void haveNoBus()
{
    unsetenv("DBUS_STARTER_ADDRESS");
    unsetenv("DBUS_STARTER_BUS_TYPE");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
}

} // namespace healthintf::test
