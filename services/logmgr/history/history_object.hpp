// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The history's object on D-Bus. */

#include "history_query.hpp"
#include "record.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace healthintf::history
{

/** What the object tells of the history as a whole. */
struct HistoryStatus
{
    /** The lowest and the highest sequence number; 0 without records. */
    uint64_t first = 0;
    uint64_t last = 0;
    uint64_t records = 0;
    /** The size of the database. */
    uint64_t bytes = 0;
};

/** Offers the history on a connection, and announces new records. */
class HistoryObject
{
  public:
    /** What the object asks for. Each throws when the history cannot be used
     *  now. */
    struct Source
    {
        std::function<HistoryPage(const HistoryQuery&)> read;
        std::function<void()> clear;
        std::function<HistoryStatus()> status;
    };

    explicit HistoryObject(Source source);
    HistoryObject(const HistoryObject&) = delete;
    HistoryObject& operator=(const HistoryObject&) = delete;

    /** Offers the object on a new connection, which requests the history's bus
     *  name. The connection must end before this object. */
    void offer(sd_bus* bus);

    /** Announces records on a connection that is open. */
    static void announce(sd_bus* bus, const std::vector<Record>& records);

  private:
    template <auto Member>
    static int handle(sd_bus_message* message, void* context,
                      sd_bus_error* error) noexcept;
    template <uint64_t HistoryStatus::*Member>
    static int get(sd_bus* bus, const char* path, const char* interface,
                   const char* name, sd_bus_message* reply, void* context,
                   sd_bus_error* error) noexcept;
    static const sd_bus_vtable* table();

    int read(sd_bus_message* message) const;
    int clear(sd_bus_message* message) const;

    Source source;
};

} // namespace healthintf::history
