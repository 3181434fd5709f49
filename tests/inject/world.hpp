// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The surroundings of components: a bus, the host platform with its data
 *  cache in a folder of its own, the services, and a client that observes them.
 */

#include "direct_connection.hpp"
#include "private_bus.hpp"
#include "view.hpp"

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>

namespace healthintf::test
{

class World
{
  public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /** A component as the client sees it on the bus. */
    View viewOfBus(const std::string& key);

    /** Processes all messages that the bus has accepted so far. */
    void settle();

    /** Waits until the bus has delivered everything that the client sent,
     *  without processing it. */
    void deliver();

    /** Processes the messages that have arrived. */
    void take();

    /** The components' connection as an sd_bus. */
    sd_bus* connection() const
    {
        return own;
    }

    sd_bus* client() const
    {
        return other.get();
    }

  private:
    PrivateBus daemon;
    std::unique_ptr<sd_bus, Unref> other;
    sd_bus* own = nullptr;
    std::unique_ptr<Process> logmgr;
    std::unique_ptr<Process> healthmgr;

    /** Starts a service and waits until it owns its name. */
    void start(std::unique_ptr<Process>& service, const char* program,
               const char* name);
    void workUntil(const std::function<bool()>& done);

  public:
    /** The connection of all components: this thread's default connection. */
    sdbusplus::bus_t bus;
};

/** The world of this program. The first call creates it and must come before
 *  any use of the platform. */
World& world();

} // namespace healthintf::test
