// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Listens to the changes of the tree on the bus. */

#include "watched_tree.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** The functions that BusChanges calls. */
struct ChangeHandlers
{
    std::function<void(const std::string& key, uint32_t health)> health;
    std::function<void(const std::string& path, const WatchedFault& fault)>
        faultAdded;
    std::function<void(const std::string& path)> faultRemoved;
    std::function<void(const std::string& path, bool hidden)> hidden;
    /** The tree may have changed without a signal that says how: a node has
     *  nothing to report or is gone, or a connection was lost. */
    std::function<void()> unsure;
};

/** Listens to the signals of nodes, of faults, and of lost connections. */
class BusChanges
{
  public:
    /** Listens from now on: no later signal is missed.
     *
     *  @param[in] bus must outlive this object
     *  @throws std::system_error when the bus refuses */
    BusChanges(sd_bus* bus, ChangeHandlers handlers);
    BusChanges(const BusChanges&) = delete;
    BusChanges& operator=(const BusChanges&) = delete;

  private:
    using Handler = void (BusChanges::*)(sd_bus_message* message) const;

    template <Handler handler>
    void match(const std::string& rule);

    void takeUpdate(sd_bus_message* message) const;
    void takeProperties(sd_bus_message* message) const;
    void takeAdded(sd_bus_message* message) const;
    void takeRemoved(sd_bus_message* message) const;
    void takeOwner(sd_bus_message* message) const;

    sd_bus* bus;
    ChangeHandlers handlers;
    std::vector<SlotPtr> slots;
};

} // namespace healthintf::healthctl
