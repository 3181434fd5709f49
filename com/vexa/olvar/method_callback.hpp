// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Methods of a binding as entries of its object table. */

#include <com/vexa/olvar/error_reply.hpp>

#include <sdbusplus/sdbuspp_support/server.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <utility>

namespace healthintf::binding
{
namespace details
{

template <typename Object, typename Result, typename... Args>
int callMethod(Result (Object::*method)(Args...), sd_bus_message* message,
               void* context, sd_bus_error* error) noexcept
{
    auto* object = static_cast<Object*>(context);
    auto* intf = object->bus().getInterface();
    return runWithErrorReply(intf, error, [&] {
        return sdbusplus::sdbuspp::method_callback(
            message, intf, error,
            std::function([object, method](Args&&... args) -> Result {
                return (object->*method)(std::forward<Args>(args)...);
            }));
    });
}

} // namespace details

/** Answers a D-Bus call of one method through the member function, virtual or
 *  not, that is called with the message's arguments. */
template <auto method>
int methodCallback(sd_bus_message* message, void* context,
                   sd_bus_error* error) noexcept
{
    return details::callMethod(method, message, context, error);
}

} // namespace healthintf::binding
