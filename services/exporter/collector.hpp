#pragma once

/** @file Collects what a scrape tells. */

#include "brief_call.hpp"
#include "bus_link.hpp"
#include "common/event_loop.hpp"
#include "fault_listener.hpp"
#include "log_question.hpp"
#include "snapshot.hpp"

namespace healthintf::exporter
{

/** Finds out how everything is, as far as it can be found out. */
class Collector
{
  public:
    /** @param[in] loop runs the connection to the bus; must outlive this
     *             object */
    explicit Collector(services::EventLoop& loop);

    /** Never fails as a whole, and waits only for the bus and the services. */
    Snapshot collect();

  private:
    // The connection calls the listener.
    FaultListener listener;
    BusLink link;
    BriefCall driver;
    BriefCall healthManager;
    LogQuestion question;
};

} // namespace healthintf::exporter
