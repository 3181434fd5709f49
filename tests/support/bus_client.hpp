// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A client of the bus that uses libsystemd alone. */

#include "direct_connection.hpp"
#include "process.hpp"

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::test
{

/** Has a connection of its own and follows the health of every node. */
class BusClient
{
  public:
    BusClient();

    sd_bus* get() const
    {
        return bus.get();
    }

    /** Waits until the last HealthStatus announced for a node is @p health.
     *
     *  @throws std::runtime_error after a timeout */
    void waitForHealth(const std::string& key, uint32_t health);

    /** Processes messages until @p done.
     *
     *  @throws std::runtime_error naming @p what, after @p limit */
    void waitUntil(const std::string& what, const std::function<bool()>& done,
                   std::chrono::seconds limit = patience);

    /** Processes every message that the bus had accepted before this call. */
    void catchUp();

    /** Reads the health of a node from the connection @p owner. */
    uint32_t health(const std::string& owner, const std::string& key) const;

    /** Whether the connection @p owner has the node of a key. */
    bool hasNode(const std::string& owner, const std::string& key) const;

    /** The objects below the health tree's root that @p owner exports, each
     *  with the names of its com.vexa interfaces. */
    std::map<std::string, std::vector<std::string>>
    objects(const std::string& owner) const;

    /** Calls a method with arguments as for sd_bus_message_append().
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

    /** The unique name of the owner of a name; empty if it has none. */
    std::string findOwner(const std::string& name) const;

    /** Every HealthStatusUpdate received: "parent key health". */
    std::vector<std::string> updates;

    /** Every health that a node has published as its property: "key health". */
    std::vector<std::string> publications;

  protected:
    /** @throws std::runtime_error with the error's text if @p error is set */
    static void throwIfSet(sd_bus_error& error);

  private:
    static int takeProperty(sd_bus_message* message, void* context,
                            sd_bus_error* error);
    static int takeUpdate(sd_bus_message* message, void* context,
                          sd_bus_error* error);
    void match(const char* rule, sd_bus_message_handler_t handler);

    std::unique_ptr<sd_bus, Unref> bus;
    /** The last health announced, by key. */
    std::map<std::string, uint32_t> announced;
};

} // namespace healthintf::test
