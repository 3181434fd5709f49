// SPDX-License-Identifier: Apache-2.0
#include "attribute_requests.hpp"

#include "../common/service_log.hpp"
#include "config_manager/protocol.hpp"
#include "healthmgr/protocol.hpp"

#include <sdbusplus/vtable.hpp>

#include <array>
#include <cerrno>
#include <exception>

namespace healthintf::healthmgr
{

namespace log = services::log;
namespace vtable = sdbusplus::vtable;

AttributeRequests::AttributeRequests(services::Connection& connection) :
    interface(
        connection.bus(), host::healthmgrPath, host::attributesInterface,
        [] {
            static constexpr std::array table{
                vtable::start(),
                vtable::method(host::setAttributeMethod,
                               host::setAttributeSignature, "", take,
                               vtable::common_::unprivileged),
                vtable::end(),
            };
            return table.data();
        }(),
        this)
{}

int AttributeRequests::take(sd_bus_message* message, void* context,
                            sd_bus_error* error)
{
    auto* requests = static_cast<AttributeRequests*>(context);
    const char* name = nullptr;
    const char* source = nullptr;
    int32_t value = 0;
    if (const int result = sd_bus_message_read(
            message, host::setAttributeSignature, &name, &value, &source);
        result < 0)
    {
        return result;
    }
    try
    {
        const auto outcome = requests->set({name, value, source});
        return outcome.code == 0
                   ? sd_bus_reply_method_return(message, "")
                   : sd_bus_error_set(error,
                                      host::getErrorName(outcome.code).c_str(),
                                      outcome.why.c_str());
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

host::AttributeOutcome
AttributeRequests::set(const host::AttributeRequest& request)
{
    host::AttributeOutcome outcome = attributes.set(request);
    if (outcome.code == 0)
    {
        failures.noteSuccess();
    }
    // An invalid request is the caller's error: only the caller is told.
    else if (outcome.code != EINVAL && failures.admits(outcome.code))
    {
        SERVICE_LOG(log::error, "%s.%d.%s: %s", outcome.why.c_str());
    }
    return outcome;
}

} // namespace healthintf::healthmgr
