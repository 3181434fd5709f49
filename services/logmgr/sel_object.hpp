// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The System Event Log's object on D-Bus. */

#include "../common/connection.hpp"
#include "event_log.hpp"
#include "list_responder.hpp"
#include "mirror.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

#include <array>
#include <cstdint>
#include <set>
#include <string_view>
#include <utility>

namespace healthintf::logmgr
{

/** Offers the log on D-Bus. An event is announced by a signal before it is
 *  stored, and the call is answered when it is stored and mirrored. Calls for
 *  lists are answered by ListResponder. */
class SelObject
{
  public:
    /** All arguments must outlive this object.
     *
     *  @throws sdbusplus::exception::SdBusError when the object cannot be added
     *          to the connection */
    SelObject(services::Connection& connection, EventLog& events,
              Mirror& mirror, ListResponder& lists);

    /** Announces what has changed without a call, as when somebody has
     *  overwritten the log's file. */
    void announceChanges();

  private:
    /** The properties that are announced, with their values. */
    using Values = std::array<std::pair<const char*, uint32_t>, 4>;

    /** Calls a member function for a message, and answers with an error when it
     *  throws. */
    template <auto Member>
    static int handle(sd_bus_message* message, void* context,
                      sd_bus_error* error);
    template <auto Member>
    static int get(sd_bus* bus, const char* path, const char* interface,
                   const char* name, sd_bus_message* reply, void* context,
                   sd_bus_error* error);
    static const sd_bus_vtable* table();

    int add(sd_bus_message* message);
    int addWithTimestamp(sd_bus_message* message);
    int getEntry(sd_bus_message* message);
    int listEntries(sd_bus_message* message);
    int listLog(sd_bus_message* message);
    int clear(sd_bus_message* message);
    int clearUpTo(sd_bus_message* message);

    int store(sd_bus_message* message, const Event& event);
    void announce(const Event& event);
    void announceClearing();
    void announceChanges(const std::set<std::string_view>& touched);
    Values readValues() const;

    uint32_t entries() const;
    uint32_t capacity() const;
    const char* overflowPolicy() const;
    bool overflow() const;
    uint32_t lastAddition() const;
    uint32_t lastErase() const;
    uint64_t generation() const;
    uint16_t lastEntry() const;

    sdbusplus::bus_t& bus;
    EventLog& events;
    Mirror& mirror;
    ListResponder& lists;
    sdbusplus::server::interface_t interface;
    /** The values that others know. */
    Values announced;
};

} // namespace healthintf::logmgr
