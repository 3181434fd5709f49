// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Ownership of an sd-bus slot. */

#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <memory>

namespace sdbusplus::details
{

/** Drops a slot, and with it what the slot stands for. */
struct UnrefSlot
{
    SdBusInterface* intf = nullptr;
    void operator()(sd_bus_slot* slot) const
    {
        intf->sd_bus_slot_unref(slot);
    }
};

using Slot = std::unique_ptr<sd_bus_slot, UnrefSlot>;

} // namespace sdbusplus::details
