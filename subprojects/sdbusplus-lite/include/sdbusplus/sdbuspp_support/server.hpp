// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The bodies that the callbacks of an object table share: arguments
 *  from the message, results into the reply. The exceptions of this layer
 *  become a D-Bus error; every other one leaves the callback, which must keep
 *  it from libsystemd. */

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>
#include <sdbusplus/sdbus.hpp>
#include <sdbusplus/server.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

namespace sdbusplus::sdbuspp
{
namespace details
{

/** Runs one callback's work.
 *
 *  @return 1, or the negative number that @p error stands for */
template <typename Work>
int answer(SdBusInterface* intf, sd_bus_error* error, Work&& work)
{
    try
    {
        std::forward<Work>(work)();
        return 1;
    }
    catch (const internal_exception_t& e)
    {
        return intf->sd_bus_error_set(error, e.name(), e.description());
    }
}

/** Reads the arguments of @p function from the message and calls it. */
template <typename... Args, typename Return>
Return apply(message_t& m, std::function<Return(Args&&...)>& function)
{
    std::tuple<Args...> arguments{};
    std::apply(
        [&](Args&... args) {
            m.read(args...);
        },
        arguments);
    return std::apply(function, std::move(arguments));
}

} // namespace details

/** Body of a property's get or set callback: @p function takes what the
 *  message holds and its result, if any, goes into the same message. */
template <typename... Args, typename Return>
int property_callback(sd_bus_message* msg, SdBusInterface* intf,
                      sd_bus_error* error,
                      std::function<Return(Args&&...)> function)
{
    return details::answer(intf, error, [&] {
        message_t m(msg, intf);
        if constexpr (std::is_void_v<Return>)
        {
            details::apply(m, function);
        }
        else
        {
            m.append(details::apply(m, function));
        }
    });
}

/** Body of a method's callback: the result of @p function is the reply.
 *
 *  @tparam multi_return a tuple is several results, not one structure */
template <bool multi_return = false, typename... Args, typename Return>
int method_callback(sd_bus_message* msg, SdBusInterface* intf,
                    sd_bus_error* error,
                    std::function<Return(Args&&...)> function)
{
    return details::answer(intf, error, [&] {
        message_t m(msg, intf);
        message_t reply = m.new_method_return();
        if constexpr (std::is_void_v<Return>)
        {
            details::apply(m, function);
        }
        else if constexpr (multi_return)
        {
            std::apply(
                [&](const auto&... results) {
                    reply.append(results...);
                },
                details::apply(m, function));
        }
        else
        {
            reply.append(details::apply(m, function));
        }
        reply.method_return();
    });
}

} // namespace sdbusplus::sdbuspp
