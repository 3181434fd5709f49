// SPDX-License-Identifier: Apache-2.0
#include "node_requests.hpp"

#include "../common/service_log.hpp"
#include "healthmgr/protocol.hpp"
#include "node_key.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <sdbusplus/vtable.hpp>

#include <array>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

namespace healthintf::healthmgr
{

namespace log = services::log;
namespace vtable = sdbusplus::vtable;

NodeRequests::NodeRequests(services::Connection& connection, HostedNodes& nodes,
                           PeerUsers& users, OnRequest onRequest) :
    nodes(nodes),
    users(users), onRequest(std::move(onRequest)),
    interface(
        connection.bus(), names::managerPath, host::healthmgrInterface,
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
        if (const std::string fault = explainInvalidKey(key); !fault.empty())
        {
            return sd_bus_error_setf(
                error, SD_BUS_ERROR_INVALID_ARGS, "%s is no key: %s",
                std::strlen(key) > maxKey ? "this" : key, fault.c_str());
        }
        // The reply follows when the bus has told the caller's user.
        const std::shared_ptr<sd_bus_message> request(
            sd_bus_message_ref(message), sd_bus_message_unref);
        const bool waits = requests->users.find(
            sd_bus_message_get_sender(message),
            [requests, request,
             wanted = std::string(key)](std::optional<uint32_t> user) {
                requests->hostFor(request.get(), wanted, user);
            });
        return waits ? 1
                     : sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED,
                                        "too many requests at once");
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

/** Makes the node and replies to the request. */
int NodeRequests::hostFor(sd_bus_message* message, const std::string& key,
                          std::optional<uint32_t> user)
{
    if (!user)
    {
        return sd_bus_reply_method_errorf(
            message, SD_BUS_ERROR_FAILED,
            "the bus does not tell whose this connection is");
    }
    switch (nodes.host(key, Asker{sd_bus_message_get_sender(message), *user}))
    {
        case HostedNodes::Outcome::overLimit:
            return sd_bus_reply_method_errorf(
                message, SD_BUS_ERROR_LIMITS_EXCEEDED,
                "user %u has asked for as many nodes as one user may", *user);
        case HostedNodes::Outcome::failed:
            return sd_bus_reply_method_errorf(
                message, SD_BUS_ERROR_FAILED,
                "unable to make the node %s, see the log", key.c_str());
        case HostedNodes::Outcome::there:
            break;
    }
    const int result = sd_bus_reply_method_return(message, "");
    onRequest(sd_bus_message_get_sender(message));
    return result;
}

} // namespace healthintf::healthmgr
