#pragma once

/** @file A connection to the bus that may come and go. */

#include "common/event_loop.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <memory>

namespace healthintf::exporter
{

/** The bus, run by an event loop. Nothing here waits: a bus that is away or
 *  does not answer must not hold a scrape up. */
class BusLink
{
  public:
    using Opened = std::function<void(sd_bus*)>;

    /** How long a failed connection is not tried again. */
    static constexpr std::chrono::seconds pause{1};

    /** Begins to connect.
     *
     *  @param[in] loop runs the connection; must outlive this object
     *  @param[in] opened is given each new connection, before anything is
     *             received on it */
    BusLink(services::EventLoop& loop, Opened opened);
    ~BusLink();
    BusLink(const BusLink&) = delete;
    BusLink& operator=(const BusLink&) = delete;

    /** The connection, or null while there is none. One that was lost is begun
     *  anew, to be there later. */
    sd_bus* get();

  private:
    void open();

    services::EventLoop& loop;
    Opened opened;
    ClosedBusPtr bus;
    std::chrono::steady_clock::time_point tried;
};

} // namespace healthintf::exporter
