// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file libsystemd's failures as exceptions. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace healthintf::host
{

/** @throws std::system_error when a call did not succeed */
inline void checkBus(const char* call, int result)
{
    if (result < 0)
    {
        throw std::system_error(-result, std::generic_category(), call);
    }
}

/** Whether an error says that systemd could not start a service for the bus,
 *  for example because its unit is masked. */
inline bool isErrorOfSystemd(std::string_view name)
{
    return name.starts_with("org.freedesktop.systemd1.");
}

/** The errno of an error reply; EHOSTUNREACH when the bus or systemd could not
 *  start the service. libsystemd has other numbers for systemd's errors, such
 *  as ERFKILL for a masked unit. */
inline int getErrno(const sd_bus_error& error)
{
    return isErrorOfSystemd(error.name) ? EHOSTUNREACH
                                        : sd_bus_error_get_errno(&error);
}

/** Returns this thread's default connection; opens it when there is none.
 *
 *  @throws std::system_error when there is no bus */
inline BusPtr openDefaultBus()
{
    sd_bus* bus = nullptr;
    checkBus("unable to connect to the bus", sd_bus_default(&bus));
    return BusPtr(bus);
}

} // namespace healthintf::host
