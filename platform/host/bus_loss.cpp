// SPDX-License-Identifier: Apache-2.0
#include "bus_loss.hpp"

#include "host_log.hpp"

#include <exception>
#include <utility>

namespace healthintf::host
{
namespace
{

/** Whether this thread has logged the loss of its connections. */
constinit thread_local bool lossLogged = false;

constexpr const char* localInterface = "org.freedesktop.DBus.Local";

} // namespace

BusLossWatch::BusLossWatch(sd_bus* bus, std::function<void()> react) :
    react(std::move(react))
{
    sd_bus_slot* slot = nullptr;
    checkBus("sd_bus_match_signal",
             sd_bus_match_signal(bus, &slot, localInterface,
                                 "/org/freedesktop/DBus/Local", localInterface,
                                 "Disconnected", handleLoss, this));
    match.reset(slot);
    lossLogged = false;
}

BusLossWatch::~BusLossWatch() = default;

int BusLossWatch::handleLoss(sd_bus_message* /*message*/, void* context,
                             sd_bus_error* /*error*/) noexcept
{
    if (!std::exchange(lossLogged, true))
    {
        HOST_LOG(log::error, "%s.%d.%s: the connection to the bus is lost");
    }
    const auto& react = static_cast<BusLossWatch*>(context)->react;
    try
    {
        if (react)
        {
            react();
        }
    }
    catch (const std::exception& e)
    {
        HOST_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
    }
    return 0;
}

} // namespace healthintf::host
