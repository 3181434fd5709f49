#pragma once

/** @file The health manager's interface on D-Bus where others set
 *  attributes. */

#include "../common/connection.hpp"
#include "config_manager/attribute_service.hpp"
#include "failure_log.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

namespace healthintf::healthmgr
{

/** Answers Set(s name, i value, s source) when the attribute is on the disk and
 *  its change announced, or with a D-Bus error that says why not. */
class AttributeRequests
{
  public:
    /** Takes the attributes' file over, so the connection has to own the health
     *  manager's name.
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
