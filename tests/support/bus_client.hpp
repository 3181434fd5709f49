// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What a client of the bus sees, by libsystemd alone. */

#include "direct_connection.hpp"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::test
{

/** A connection of its own that follows the health of every node. */
class BusClient
{
  public:
    BusClient();

    sd_bus* get() const
    {
        return bus.get();
    }

    /** Waits until the property HealthStatus of a node was announced as
     *  @p health, and is not announced otherwise since.
     *
     *  @throws std::runtime_error when that does not come in time */
    void waitForHealth(const std::string& key, uint32_t health);

    /** Works until @p done, or throws std::runtime_error saying that there is
     *  no @p what in time. */
    void waitUntil(const std::string& what, const std::function<bool()>& done);

    /** Takes what has arrived so far, and what the bus had to pass on when
     *  this was called. */
    void catchUp();

    /** Reads the health of a node from the process that holds it. */
    uint32_t health(const std::string& owner, const std::string& key) const;

    /** The objects below the root of the health tree that a process holds,
     *  each with the names of its interfaces that are ours. */
    std::map<std::string, std::vector<std::string>>
    objects(const std::string& owner) const;

    /** Calls a method with arguments as sd_bus_message_append takes them.
     *
     *  @return the reply
     *  @throws std::runtime_error with the text of an error reply */
    template <typename... Args>
    MessagePtr call(const char* service, const char* path,
                    const char* interface, const char* member,
                    const char* types, Args... args) const
    {
        sd_bus_message* reply = nullptr;
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_call_method(bus.get(), service, path, interface, member, &error,
                           &reply, types, args...);
        MessagePtr owned(reply);
        throwIfSet(error);
        return owned;
    }

    /** The unique name of the owner of a name; empty without one. */
    std::string ownerOf(const std::string& name) const;

    /** Every HealthStatusUpdate heard: "parent key health". */
    std::vector<std::string> updates;

  protected:
    /** @throws std::runtime_error with the text of an error that is set */
    static void throwIfSet(sd_bus_error& error);

  private:
    static int takeProperty(sd_bus_message* message, void* context,
                            sd_bus_error* error);
    static int takeUpdate(sd_bus_message* message, void* context,
                          sd_bus_error* error);
    void match(const char* rule, sd_bus_message_handler_t handler);

    std::unique_ptr<sd_bus, Unref> bus;
    /** The health last announced, by key. */
    std::map<std::string, uint32_t> announced;
};

} // namespace healthintf::test
