// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What components live in: a bus, the host platform with its data cache
 *  in a folder of its own, the services, and a client that looks at all. */

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

    /** Takes all that has been sent on the bus so far. */
    void settle();

    /** Lets all that the client has sent arrive, and takes nothing of it. */
    void deliver();

    /** Takes what has arrived. */
    void take();

    /** The components' connection as libsystemd knows it. */
    sd_bus* connection() const
    {
        return own;
    }

    /** The client's connection. */
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

    /** Starts a service and waits until it has its name. */
    void start(std::unique_ptr<Process>& service, const char* program,
               const char* name);
    void workUntil(const std::function<bool()>& done);

  public:
    /** The connection of all components, this thread's default one. */
    sdbusplus::bus_t bus;
};

/** That of this program; made at the first call, when nothing has used the
 *  platform yet. */
World& world();

} // namespace healthintf::test
