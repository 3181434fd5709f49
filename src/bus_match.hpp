// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Bus subscriptions that throw when the bus refuses them, and whose
 *  handlers cannot end the process. */

#include <platform/bus_handles.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>

#include <functional>
#include <memory>
#include <string>

namespace health_namespace::details
{

/** The name under which a handler logs: its file and its function. Both texts
 *  must last as long as the program. */
struct HandlerName
{
    const char* file;
    const char* function;
};

/** Subscribes a handler to a rule.
 *
 *  What the handler throws is logged and the message dropped, because sdbusplus
 *  ends the process when a callback throws.
 *
 *  @param[in] bus the connection
 *  @param[in] rule the match rule
 *  @param[in] name the handler's name for the log
 *  @param[in] handler called for each message that matches; other subscriptions
 *             get the message as well
 *  @throws sdbusplus::exception::SdBusError when the bus refuses the rule */
std::unique_ptr<sdbusplus::bus::match_t>
makeMatch(sdbusplus::bus_t& bus, const std::string& rule, HandlerName name,
          std::function<void(sdbusplus::message_t&)> handler);

/** The name of a handler in the file of HMI_LOG_FILE. */
#define HMI_HANDLER(function)                               \
    ::health_namespace::details::HandlerName                \
    {                                                       \
        ::healthintf::log::baseName<HMI_LOG_FILE>, function \
    }

/** The match rule of a signal from one path, by any sender. */
std::string signalRule(const char* path, const char* interface,
                       const char* member);

/** Makes the bus deliver the messages of a rule to this connection, where other
 *  subscriptions may handle them.
 *
 *  @return the subscription
 *  @throws sdbusplus::exception::SdBusError when the bus refuses the rule */
healthintf::SlotPtr makeMatchWithoutHandler(sdbusplus::bus_t& bus,
                                            const char* rule);

} // namespace health_namespace::details
