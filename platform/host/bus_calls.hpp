// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file libsystemd's failures as exceptions. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

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
