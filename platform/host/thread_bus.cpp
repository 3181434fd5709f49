// SPDX-License-Identifier: Apache-2.0
#include "thread_bus.hpp"

#include <poll.h>

namespace healthintf::host
{
namespace
{

/** Whether a connection seems to be open, as far as its socket shows. */
bool isAlive(sd_bus* bus)
{
    if (sd_bus_is_open(bus) <= 0)
    {
        return false;
    }
    pollfd socket{sd_bus_get_fd(bus), 0, 0};
    // poll() reports these events without being asked for them.
    return poll(&socket, 1, 0) >= 0 &&
           (socket.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
}

} // namespace

sd_bus* threadBus()
{
    static thread_local BusPtr bus;
    if (bus && !isAlive(bus.get()))
    {
        bus.reset();
    }
    if (!bus)
    {
        bus = openDefaultBus();
    }
    return bus.get();
}

} // namespace healthintf::host
