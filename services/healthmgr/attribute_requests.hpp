// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus interface of healthmgr through which other processes set
 *  attributes. */

#include "../common/connection.hpp"
#include "config_manager/attribute_service.hpp"
#include "failure_log.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

namespace healthintf::healthmgr
{

/** Serves Set(s name, i value, s source). It replies when the attribute is on
 *  disk and its change announced, or with a D-Bus error that says why not. */
class AttributeRequests
{
  public:
    /** Takes over the attributes' file, so the connection must own healthmgr's
     *  bus name.
     *
     *  @param[in] connection must outlive this object
     *  @throws sdbusplus::exception::SdBusError when the object is refused */
    explicit AttributeRequests(services::Connection& connection);

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error);
    host::AttributeOutcome set(const host::AttributeRequest& request);

    host::AttributeService attributes;
    host::FailureLog failures;
    sdbusplus::server::interface_t interface;
};

} // namespace healthintf::healthmgr
