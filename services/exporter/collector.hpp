// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Collects the data of a scrape. */

#include "../common/bus_link.hpp"
#include "../common/event_loop.hpp"
#include "brief_call.hpp"
#include "fault_listener.hpp"
#include "list_question.hpp"
#include "log_question.hpp"
#include "snapshot.hpp"

namespace healthintf::exporter
{

/** Reads the data cache, and asks the bus and the services. */
class Collector
{
  public:
    /** @param[in] loop runs the connection to the bus; must outlive this
     *             object */
    explicit Collector(services::EventLoop& loop);

    /** Never fails: the snapshot lacks what could not be read. Waits briefly
     *  for the bus and the services. */
    Snapshot collect();

  private:
    void askHealthmgr(sd_bus* bus, Snapshot& snapshot);

    // The connection calls the listener.
    FaultListener listener;
    services::BusLink link;
    BriefCall driver;
    BriefCall healthmgr;
    ListQuestion silences;
    ListQuestion acknowledgements;
    LogQuestion question;
};

} // namespace healthintf::exporter
