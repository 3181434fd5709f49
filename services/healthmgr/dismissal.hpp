// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus method by which an operator dismisses a lost monitor. */

#include "../common/connection.hpp"
#include "hosted_nodes.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

namespace healthintf::healthmgr
{

/** Serves Dismiss(s key). Replies when the fault is gone and that is written to
 *  the file, with a D-Bus error when the component has no lost monitor. */
class Dismissal
{
  public:
    /** Both arguments must outlive this object.
     *
     *  @throws sdbusplus::exception::SdBusError when the object is refused */
    Dismissal(services::Connection& connection, HostedNodes& nodes);

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error);

    HostedNodes& nodes;
    sdbusplus::server::interface_t interface;
};

} // namespace healthintf::healthmgr
