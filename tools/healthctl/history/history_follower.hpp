// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes new records of the history as they come. */

#include "../context.hpp"
#include "../watch/paced_action.hpp"
#include "history_client.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace healthintf::healthctl
{

/** Reads on each time when logmgr announces a record or comes back, so that
 *  none is missing or comes twice, whatever is announced. */
class HistoryFollower
{
  public:
    using Write = std::function<void(const HistoryRecord& record)>;

    /** Listens from now on, and writes the records from a sequence number
     *  on.
     *
     *  @param[in] bus must outlive this object, and so must @p loop and @p
     *             reader
     *  @throws Error when logmgr does not answer */
    HistoryFollower(sd_bus* bus, services::EventLoop& loop,
                    const HistoryReader& reader, uint64_t from, Write write);
    HistoryFollower(const HistoryFollower&) = delete;
    HistoryFollower& operator=(const HistoryFollower&) = delete;

  private:
    void match(const std::string& rule);
    void readOn();
    void readAll();

    sd_bus* bus;
    const HistoryReader& reader;
    uint64_t next;
    Write write;
    services::EventSource hangup;
    PacedAction reading;
    /** Whether the operator was told that logmgr is away. */
    bool away = false;
    std::vector<SlotPtr> slots;
};

} // namespace healthintf::healthctl
