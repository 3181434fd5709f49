// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Changes as lines for programs. */

#include "../context.hpp"
#include "bus_changes.hpp"
#include "paced_action.hpp"
#include "watched_tree.hpp"

namespace healthintf::healthctl
{

/** Writes an object for each change. */
class LineWatcher
{
  public:
    /** Writes the first line, after which no change is missed.
     *
     *  @param[in] loop runs the changes; both must outlive this object */
    LineWatcher(const Context& context, sd_bus* bus, services::EventLoop& loop);

  private:
    ChangeHandlers makeHandlers();
    void writeChanges(const Changes& made);
    void takeOver();

    const Context& context;
    sd_bus* bus;
    services::EventLoop& loop;
    PacedAction reading;
    services::EventSource hangup;
    WatchedTree tree;
    /** Whether the first line is written. */
    bool begun = false;
    BusChanges changes;
};

} // namespace healthintf::healthctl
