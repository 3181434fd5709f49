// SPDX-License-Identifier: Apache-2.0
#include "subscription.hpp"

#include "line_limit.hpp"
#include "service_log.hpp"

#include <platform/signal_blocker.hpp>

#include <exception>
#include <system_error>
#include <utility>

namespace healthintf::services
{
namespace
{

/** Bounds the lines about messages, which any process may send. */
constinit host::LineLimit messageLines;

} // namespace

Subscription::Subscription(sd_bus* bus, const std::string& rule,
                           Handler handler) :
    handler(std::move(handler))
{
    const SignalBlocker blocker;
    sd_bus_slot* made = nullptr;
    if (const int result =
            sd_bus_add_match(bus, &made, rule.c_str(), take, this);
        result < 0)
    {
        throw std::system_error(-result, std::generic_category(),
                                "sd_bus_add_match");
    }
    slot.reset(made);
}

int Subscription::take(sd_bus_message* message, void* context,
                       sd_bus_error* /*error*/) noexcept
{
    try
    {
        sdbusplus::message_t taken(message);
        static_cast<Subscription*>(context)->handler(taken);
    }
    catch (const std::exception& e)
    {
        if (messageLines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
    }
    return 0;
}

} // namespace healthintf::services
