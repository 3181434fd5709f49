// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Refuses closed connections with a clear error. */

#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>

#include <cerrno>

namespace healthintf::binding
{

/** Returns the connection if it is open. sdbusplus asks each connection for its
 *  unique name, which a closed one has not, and its exception does not say why.
 *
 *  @throws sdbusplus::exception::SdBusError when the connection is closed */
inline sdbusplus::bus_t& requireOpen(sdbusplus::bus_t& bus)
{
    if (!bus.is_open())
    {
        throw sdbusplus::exception::SdBusError(ENOTCONN, "sd_bus_is_open");
    }
    return bus;
}

} // namespace healthintf::binding
