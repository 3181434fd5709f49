#pragma once

/** @file Owners of libsystemd's objects. */

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <memory>

namespace healthintf
{

/** Drops one reference. */
struct Unref
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
    void operator()(sd_event* loop) const
    {
        sd_event_unref(loop);
    }
    /** Also disables the source, as others may have a reference to it. */
    void operator()(sd_event_source* source) const
    {
        sd_event_source_disable_unref(source);
    }
};

/** Closes a connection at once, whoever else has a reference to it. */
struct CloseBus
{
    void operator()(sd_bus* bus) const
    {
        sd_bus_detach_event(bus);
        sd_bus_close_unref(bus);
    }
};

using BusPtr = std::unique_ptr<sd_bus, Unref>;
using ClosedBusPtr = std::unique_ptr<sd_bus, CloseBus>;
using MessagePtr = std::unique_ptr<sd_bus_message, Unref>;
using SlotPtr = std::unique_ptr<sd_bus_slot, Unref>;
using EventPtr = std::unique_ptr<sd_event, Unref>;
using EventSourcePtr = std::unique_ptr<sd_event_source, Unref>;

} // namespace healthintf
