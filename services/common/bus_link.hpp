// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A connection to the bus that is made again when it is lost. */

#include "event_loop.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <memory>

namespace healthintf::services
{

/** A connection to the bus, run by an event loop. Nothing here waits: a bus
 *  that is not there or does not answer must not delay a scrape. */
class BusLink
{
  public:
    using Opened = std::function<void(sd_bus*)>;

    /** The time between two attempts to connect. */
    static constexpr std::chrono::seconds pause{1};

    /** Begins to connect.
     *
     *  @param[in] loop runs the connection; must outlive this object
     *  @param[in] opened is given each new connection, before anything is
     *             received on it
     *  @param[in] priority of what is received, as sd-event has it */
    BusLink(EventLoop& loop, Opened opened,
            int priority = SD_EVENT_PRIORITY_NORMAL);
    ~BusLink();
    BusLink(const BusLink&) = delete;
    BusLink& operator=(const BusLink&) = delete;

    /** The connection, or null while there is none. It is made anew when it was
     *  lost, whether anybody asks for it or not. */
    sd_bus* get() const;

  private:
    void openIfLost();
    void open();

    EventLoop& loop;
    Opened opened;
    int priority;
    ClosedBusPtr bus;
    /** Whether the log has a line about the missing bus. */
    bool told = false;
    EventSource clock;
};

} // namespace healthintf::services
