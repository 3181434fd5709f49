// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus methods by which operators raise faults and clear them. */

#include "../common/connection.hpp"
#include "raised_faults.hpp"
#include "user_calls.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

namespace healthintf::healthmgr
{

/** Serves Raise() and Clear(). Each replies when the fault is there, or gone,
 *  and that is written to the file. */
class RaiseRequests
{
  public:
    /** Both arguments must outlive this object.
     *
     *  @throws sdbusplus::exception::SdBusError when the object is refused */
    RaiseRequests(services::Connection& connection, RaisedFaults& faults);

  private:
    template <auto Member>
    static int handle(sd_bus_message* message, void* context,
                      sd_bus_error* error);
    static const sd_bus_vtable* table();

    void raise(sdbusplus::message_t& call);
    void clear(sdbusplus::message_t& call);

    RaisedFaults& faults;
    sdbusplus::server::interface_t interface;
};

} // namespace healthintf::healthmgr
