// SPDX-License-Identifier: Apache-2.0
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
    /** Gives a reference to a connection back. */
    void operator()(sd_bus* bus) const
    {
        sd_bus_unref(bus);
    }
    /** Gives a reference to a message back. */
    void operator()(sd_bus_message* message) const
    {
        sd_bus_message_unref(message);
    }
    /** Gives a reference to a subscription or registration back. */
    void operator()(sd_bus_slot* slot) const
    {
        sd_bus_slot_unref(slot);
    }
    /** Gives a reference to an event loop back. */
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
    /** Closes the connection and gives a reference back. */
    void operator()(sd_bus* bus) const
    {
        sd_bus_detach_event(bus);
        sd_bus_close_unref(bus);
    }
};

/** A reference to a connection. */
using BusPtr = std::unique_ptr<sd_bus, Unref>;
/** A connection that is closed with this object. */
using ClosedBusPtr = std::unique_ptr<sd_bus, CloseBus>;
/** A reference to a message. */
using MessagePtr = std::unique_ptr<sd_bus_message, Unref>;
/** A subscription or registration, which ends with this object. */
using SlotPtr = std::unique_ptr<sd_bus_slot, Unref>;
/** A reference to an event loop. */
using EventPtr = std::unique_ptr<sd_event, Unref>;
/** A source of events, which rests from the end of this object on. */
using EventSourcePtr = std::unique_ptr<sd_event_source, Unref>;

} // namespace healthintf
