#pragma once

/** @file Subscriptions that surely exist and that never end the process. */

#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>

#include <functional>
#include <memory>
#include <string>

namespace health_namespace::details
{

/** Subscribes a handler to a rule.
 *
 *  What the handler throws is logged and the message dropped, because
 *  sdbusplus ends the process when a callback throws.
 *
 *  @param[in] bus the connection
 *  @param[in] rule the match rule
 *  @param[in] name the handler's name for the log; must be a literal
 *  @param[in] handler called for each message that matches; others that match
 *             it hear it too, whatever this one does
 *  @throws sdbusplus::exception::SdBusError when the bus refuses the rule */
std::unique_ptr<sdbusplus::bus::match_t>
makeMatch(sdbusplus::bus_t& bus, const std::string& rule, const char* name,
          std::function<void(sdbusplus::message_t&)> handler);

} // namespace health_namespace::details
