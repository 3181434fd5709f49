// SPDX-License-Identifier: Apache-2.0
#include "bus_link.hpp"

#include "service_log.hpp"

#include <cstring>
#include <utility>

namespace healthintf::services
{

BusLink::BusLink(EventLoop& loop, Opened opened, int priority) :
    loop(loop), opened(std::move(opened)), priority(priority),
    clock(loop.every(pause, [this] {
        openIfLost();
    }))
{
    open();
}

BusLink::~BusLink() = default;

sd_bus* BusLink::get() const
{
    return sd_bus_is_ready(bus.get()) > 0 ? bus.get() : nullptr;
}

void BusLink::openIfLost()
{
    if (sd_bus_is_open(bus.get()) <= 0)
    {
        open();
    }
}

void BusLink::open()
{
    bus.reset();
    sd_bus* raw = nullptr;
    int result = sd_bus_open(&raw);
    if (result >= 0)
    {
        bus.reset(raw);
        // The end of the loop would wait until a bus that hangs has greeted.
        sd_bus_set_close_on_exit(raw, 0);
        result = sd_bus_attach_event(raw, loop.get(), priority);
    }
    if (result < 0)
    {
        bus.reset();
        if (!std::exchange(told, true))
        {
            SERVICE_LOG(log::warning, "%s.%d.%s: no bus: %s",
                        std::strerror(-result));
        }
        return;
    }
    told = false;
    opened(raw);
}

} // namespace healthintf::services
