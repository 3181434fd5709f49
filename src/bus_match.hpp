#pragma once

/** @file Subscriptions that surely exist and that never end the process. */

#include <platform/bus_handles.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>

#include <functional>
#include <memory>
#include <string>

namespace health_namespace::details
{

/** The function that takes the messages of a subscription, as the log names
 *  it. Both texts must last as long as the program. */
struct HandlerName
{
    const char* file;
    const char* function;
};

/** Subscribes a handler to a rule.
 *
 *  What the handler throws is logged and the message dropped, because
 *  sdbusplus ends the process when a callback throws.
 *
 *  @param[in] bus the connection
 *  @param[in] rule the match rule
 *  @param[in] name the handler's name for the log
 *  @param[in] handler called for each message that matches; others that match
 *             it hear it too, whatever this one does
 *  @throws sdbusplus::exception::SdBusError when the bus refuses the rule */
std::unique_ptr<sdbusplus::bus::match_t>
makeMatch(sdbusplus::bus_t& bus, const std::string& rule, HandlerName name,
          std::function<void(sdbusplus::message_t&)> handler);

/** The name of a handler in the file that lines are logged in the name of. */
#define HMI_HANDLER(function)                               \
    ::health_namespace::details::HandlerName                \
    {                                                       \
        ::healthintf::log::baseName<HMI_LOG_FILE>, function \
    }

/** Makes the bus deliver what matches a rule, which no handler takes here.
 *
 *  @return the subscription
 *  @throws sdbusplus::exception::SdBusError when the bus refuses the rule */
healthintf::SlotPtr makeMatchWithoutHandler(sdbusplus::bus_t& bus,
                                            const char* rule);

} // namespace health_namespace::details
