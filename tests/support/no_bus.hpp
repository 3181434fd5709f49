// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A machine without a bus. */

#include <cstdlib>

namespace healthintf::test
{

/** Lets this process find no bus, as long as it has not connected yet. */
inline void haveNoBus()
{
    unsetenv("DBUS_STARTER_ADDRESS");
    unsetenv("DBUS_STARTER_BUS_TYPE");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
}

} // namespace healthintf::test
