// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A service's bus subscription that throws when the bus refuses it, and
 *  whose handler cannot end the process. */

#include <platform/bus_handles.hpp>

#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <string>

namespace healthintf::services
{

/** Calls a handler for the messages of a match rule. Not sdbusplus' own class:
 *  some versions do not report that the bus has refused the rule, and all end
 *  the process when the handler throws. */
class Subscription
{
  public:
    using Handler = std::function<void(sdbusplus::message_t&)>;

    /** @param[in] bus the connection; must outlive this object
     *  @param[in] rule the match rule
     *  @param[in] handler called for each message; when it throws, the
     *             exception is logged and the message dropped
     *  @throws std::system_error when the bus refuses the rule */
    Subscription(sd_bus* bus, const std::string& rule, Handler handler);
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error) noexcept;

    Handler handler;
    SlotPtr slot;
};

} // namespace healthintf::services
