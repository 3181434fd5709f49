// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The libsystemd connection inside an sdbusplus one, and libsystemd's
 *  errors as sdbusplus exceptions. */

#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>
#include <systemd/sd-bus.h>

// The class that hands the connection out has moved between these namespaces;
// declaring both lets the lookup below find it in either.
namespace sdbusplus::details
{}
namespace sdbusplus::bus::details
{}

namespace health_namespace::details
{
namespace lookup
{
using namespace sdbusplus::details;
using namespace sdbusplus::bus::details;

struct Bus : bus_friend
{
    using bus_friend::get_busp;
};
} // namespace lookup

/** The connection of @p bus; it stays owned by @p bus. */
inline sd_bus* rawBus(sdbusplus::bus_t& bus)
{
    return lookup::Bus::get_busp(bus);
}

/** Throws if a call of libsystemd failed.
 *
 *  @throws sdbusplus::exception::SdBusError naming @p call when the result is
 *          negative */
inline void requireDone(int result, const char* call)
{
    if (result < 0)
    {
        throw sdbusplus::exception::SdBusError(-result, call);
    }
}

} // namespace health_namespace::details
