#pragma once

/** @file Ownership of libsystemd's bus objects, and its failures as
 *  exceptions. */

#include <systemd/sd-bus.h>

#include <memory>
#include <system_error>

namespace healthintf::host
{

struct UnrefBusObject
{
    void operator()(sd_bus* bus) const
    {
        sd_bus_unref(bus);
    }
    void operator()(sd_bus_message* message) const
    {
        sd_bus_message_unref(message);
    }
    void operator()(sd_bus_slot* slot) const
    {
        sd_bus_slot_unref(slot);
    }
};

using BusPtr = std::unique_ptr<sd_bus, UnrefBusObject>;
using MessagePtr = std::unique_ptr<sd_bus_message, UnrefBusObject>;
using SlotPtr = std::unique_ptr<sd_bus_slot, UnrefBusObject>;

/** @throws std::system_error when a call did not succeed */
inline void checkBus(const char* call, int result)
{
    if (result < 0)
    {
        throw std::system_error(-result, std::generic_category(), call);
    }
}

/** This thread's default connection, opened when there is none.
 *
 *  @throws std::system_error when there is no bus */
inline BusPtr openDefaultBus()
{
    sd_bus* bus = nullptr;
    checkBus("unable to connect to the bus", sd_bus_default(&bus));
    return BusPtr(bus);
}

} // namespace healthintf::host
