#pragma once

/** @file A service's subscription to messages, which surely exists and never
 *  ends the process. */

#include <platform/bus_handles.hpp>

#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <string>

namespace healthintf::services
{

/** Hands the messages that match a rule to a handler. sdbusplus' own class is
 *  not used: in some versions it does not tell that the bus has refused the
 *  rule, and in all it ends the process when the handler throws. */
class Subscription
{
  public:
    using Handler = std::function<void(sdbusplus::message_t&)>;

    /** @param[in] bus the connection; must outlive this object
     *  @param[in] rule the match rule
     *  @param[in] handler called for each message; when it throws, that is
     *             logged and the message dropped
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
