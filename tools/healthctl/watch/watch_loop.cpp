// SPDX-License-Identifier: Apache-2.0
#include "watch_loop.hpp"

#include "../error.hpp"
#include "ending_signals.hpp"

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;

/** The loop's exit code when the connection is lost. */
constexpr int busLost = 1;

/** The connection has left the loop by now, so the loop is the argument. */
int handleLoss(sd_bus_message* /*message*/, void* loop, sd_bus_error* /*error*/)
{
    return sd_event_exit(static_cast<sd_event*>(loop), busLost);
}

} // namespace

WatchLoop::WatchLoop(sd_bus* bus) : bus(bus)
{
    for (const int number : listEndingSignals())
    {
        loop.exitOn({number});
    }
    checkBus("sd_bus_attach_event",
             sd_bus_attach_event(bus, loop.get(), SD_EVENT_PRIORITY_NORMAL));
    checkBus("sd_bus_match_signal",
             sd_bus_match_signal(bus, nullptr, "org.freedesktop.DBus.Local",
                                 "/org/freedesktop/DBus/Local",
                                 "org.freedesktop.DBus.Local", "Disconnected",
                                 handleLoss, loop.get()));
}

WatchLoop::~WatchLoop()
{
    sd_bus_detach_event(bus);
}

void WatchLoop::run()
{
    if (loop.run() == busLost)
    {
        throw Error(ExitCode::unavailable,
                    "the bus is gone; start the command again once it is back");
    }
}

} // namespace healthintf::healthctl
