// SPDX-License-Identifier: Apache-2.0
#include "dismissal.hpp"

#include "../common/service_log.hpp"
#include "healthmgr/protocol.hpp"
#include "node_key.hpp"

#include <sdbusplus/vtable.hpp>

#include <array>
#include <exception>

namespace healthintf::healthmgr
{

namespace log = services::log;
namespace vtable = sdbusplus::vtable;

Dismissal::Dismissal(services::Connection& connection, HostedNodes& nodes) :
    nodes(nodes),
    interface(
        connection.bus(), host::healthmgrPath, host::lostMonitorsInterface,
        [] {
            static constexpr std::array table{
                vtable::start(),
                vtable::method(host::dismissMethod, "s", "", take,
                               vtable::common_::unprivileged),
                vtable::end(),
            };
            return table.data();
        }(),
        this)
{}

int Dismissal::take(sd_bus_message* message, void* context, sd_bus_error* error)
{
    auto* dismissal = static_cast<Dismissal*>(context);
    const char* key = nullptr;
    if (const int result = sd_bus_message_read(message, "s", &key); result < 0)
    {
        return result;
    }
    try
    {
        if (!isKey(key) || !dismissal->nodes.dismissLost(key))
        {
            return sd_bus_error_set(error, host::noLostMonitorError,
                                    "the component has no lost monitor");
        }
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: the lost monitor of %s was dismissed", key);
        return sd_bus_reply_method_return(message, "");
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

} // namespace healthintf::healthmgr
