#include "node_requests.hpp"

#include "../common/service_log.hpp"
#include "health_manager/protocol.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <sdbusplus/vtable.hpp>

#include <array>
#include <cerrno>
#include <exception>
#include <string>

namespace healthintf::healthmgr
{

namespace log = services::log;
namespace vtable = sdbusplus::vtable;

NodeRequests::NodeRequests(services::Connection& connection,
                           HostedNodes& nodes) :
    nodes(nodes),
    interface(
        connection.bus(), names::managerPath, host::healthManagerInterface,
        [] {
            static constexpr std::array table{
                vtable::start(),
                vtable::method(host::addHealthObjectMethod, "s", "", take,
                               vtable::common_::unprivileged),
                vtable::end(),
            };
            return table.data();
        }(),
        this)
{}

int NodeRequests::take(sd_bus_message* message, void* context,
                       sd_bus_error* error)
{
    auto* requests = static_cast<NodeRequests*>(context);
    const char* key = nullptr;
    if (const int result = sd_bus_message_read(message, "s", &key); result < 0)
    {
        return result;
    }
    try
    {
        if (const std::string fault = faultOfKey(key); !fault.empty())
        {
            return sd_bus_error_setf(error, SD_BUS_ERROR_INVALID_ARGS,
                                     "%s is no key: %s", key, fault.c_str());
        }
        if (!requests->nodes.host(key))
        {
            return sd_bus_error_setf(error, SD_BUS_ERROR_FAILED,
                                     "unable to make the node %s, see the log",
                                     key);
        }
        return sd_bus_reply_method_return(message, "");
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

} // namespace healthintf::healthmgr
