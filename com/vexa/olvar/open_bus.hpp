#pragma once

/** @file Refuses connections that were closed. */

#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>

#include <cerrno>

namespace healthintf::binding
{

/** The connection itself, for an object that is to be registered on it. A
 *  closed connection has no name, which sdbusplus takes of each that it is
 *  given, and what it throws then does not say why.
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
