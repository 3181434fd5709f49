// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Listens to the signals of fault entries. */

#include "eviction_count.hpp"

#include <systemd/sd-bus.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::exporter
{

/** Follows all fault entries on the bus, to count the evictions. */
class FaultListener
{
  public:
    using ReadEntries = std::function<std::vector<std::string>()>;

    /** @param[in] readEntries gives the object paths of all entries */
    explicit FaultListener(ReadEntries readEntries);
    FaultListener(const FaultListener&) = delete;
    FaultListener& operator=(const FaultListener&) = delete;

    /** Listens on a new connection instead of the last one. The connection must
     *  end before this object. Evictions are counted once the entries that
     *  exist already were read. */
    void listen(sd_bus* bus);

    /** Forgets the evictions of all other components. */
    void forgetAllBut(const std::set<std::string>& components)
    {
        evictions.forgetAllBut(components);
    }

    const EvictionCount& count() const
    {
        return evictions;
    }

  private:
    using Handler = int (*)(sd_bus_message*, void*, sd_bus_error*);

    static int takeAdded(sd_bus_message* message, void* context,
                         sd_bus_error* error);
    static int takeRemoved(sd_bus_message* message, void* context,
                           sd_bus_error* error);
    static int takeOwner(sd_bus_message* message, void* context,
                         sd_bus_error* error);
    static int takeListening(sd_bus_message* message, void* context,
                             sd_bus_error* error);
    static int takeCaughtUp(sd_bus_message* message, void* context,
                            sd_bus_error* error);
    static bool afterTheBus(sd_bus* bus, Handler next, void* context);

    ReadEntries readEntries;
    EvictionCount evictions;
};

} // namespace healthintf::exporter
