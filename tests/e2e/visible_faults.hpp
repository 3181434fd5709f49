// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps watch over when faults are visible. */

#include "bus_client.hpp"

#include <systemd/sd-bus.h>

#include <chrono>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{

/** Each time that a fault was visible, as a client of the bus hears it. */
class VisibleFaults
{
  public:
    using Clock = std::chrono::steady_clock;

    struct Time
    {
        std::string messageID;
        Clock::time_point begin;
        /** Nothing while it lasts. */
        std::optional<Clock::time_point> end;
    };

    /** Listens from now on. @param[in] client must outlive this object */
    explicit VisibleFaults(const BusClient& client)
    {
        listen(client,
               "interface='com.vexa.olvar.healthmgr.FaultEntry',"
               "member='FaultEntryAdded'",
               takeAddition);
        listen(client,
               "interface='com.vexa.olvar.healthmgr.FaultEntry',"
               "member='FaultEntryRemoved'",
               takeRemoval);
        listen(client,
               "interface='org.freedesktop.DBus.Properties',"
               "member='PropertiesChanged',"
               "arg0='com.vexa.olvar.healthmgr.FaultEntry'",
               takeChange);
        // The wait for a service's name depends on this signal, too.
        listen(client,
               "sender='org.freedesktop.DBus',member='NameOwnerChanged'",
               takeOwner);
    }

    VisibleFaults(const VisibleFaults&) = delete;
    VisibleFaults& operator=(const VisibleFaults&) = delete;

    /** Whether a fault is visible now. */
    bool any() const
    {
        return !open.empty();
    }

    std::vector<Time> times;

  private:
    /** An entry's path and the connection that has it. */
    using Entry = std::pair<std::string, std::string>;

    void listen(const BusClient& client, const std::string& rule,
                sd_bus_message_handler_t handler)
    {
        if (sd_bus_add_match(client.get(), nullptr,
                             ("type='signal'," + rule).c_str(), handler,
                             this) < 0)
        {
            throw std::runtime_error("unable to listen");
        }
    }

    static Entry entryOf(sd_bus_message* message)
    {
        return {sd_bus_message_get_path(message),
                sd_bus_message_get_sender(message)};
    }

    void begin(const Entry& entry)
    {
        if (open.emplace(entry, times.size()).second)
        {
            times.push_back({messageIDs[entry], Clock::now(), std::nullopt});
        }
    }

    void end(const Entry& entry)
    {
        if (const auto found = open.find(entry); found != open.end())
        {
            times.at(found->second).end = Clock::now();
            open.erase(found);
        }
    }

    static int takeAddition(sd_bus_message* message, void* context,
                            sd_bus_error* /*error*/)
    {
        auto* self = static_cast<VisibleFaults*>(context);
        const char* messageID = "";
        sd_bus_message_read(message, "ss", nullptr, &messageID);
        self->messageIDs[entryOf(message)] = messageID;
        self->begin(entryOf(message));
        return 0;
    }

    static int takeRemoval(sd_bus_message* message, void* context,
                           sd_bus_error* /*error*/)
    {
        static_cast<VisibleFaults*>(context)->end(entryOf(message));
        return 0;
    }

    static int takeChange(sd_bus_message* message, void* context,
                          sd_bus_error* /*error*/)
    {
        auto* self = static_cast<VisibleFaults*>(context);
        sd_bus_message_skip(message, "s");
        sd_bus_message_enter_container(message, 'a', "{sv}");
        while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
        {
            const char* name = "";
            sd_bus_message_read(message, "s", &name);
            if (name != std::string("Hidden"))
            {
                sd_bus_message_skip(message, "v");
            }
            else
            {
                int hidden = 0;
                sd_bus_message_read(message, "v", "b", &hidden);
                hidden != 0 ? self->end(entryOf(message))
                            : self->begin(entryOf(message));
            }
            sd_bus_message_exit_container(message);
        }
        return 0;
    }

    /** The faults of a connection go with it. */
    static int takeOwner(sd_bus_message* message, void* context,
                         sd_bus_error* /*error*/)
    {
        const char* name = "";
        const char* owner = "";
        sd_bus_message_read(message, "sss", &name, nullptr, &owner);
        if (std::string(owner).empty())
        {
            static_cast<VisibleFaults*>(context)->endAll(name);
        }
        return 0;
    }

    void endAll(const std::string& connection)
    {
        const auto visible = open;
        for (const auto& [entry, place] : visible)
        {
            if (entry.second == connection)
            {
                end(entry);
            }
        }
    }

    std::map<Entry, std::string> messageIDs;
    /** The visible faults' places in times. */
    std::map<Entry, std::size_t> open;
};

} // namespace healthintf::test
