#pragma once

/** @file Changes as lines for programs. */

#include "../context.hpp"
#include "bus_changes.hpp"
#include "event_loop.hpp"
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
    LineWatcher(const Context& context, sd_bus* bus, EventLoop& loop);

  private:
    Listener listener();
    void tell(const Changes& changes);
    void takeOver();

    const Context& context;
    sd_bus* bus;
    EventLoop& loop;
    WatchedTree tree;
    /** Whether the first line is written. */
    bool begun = false;
    BusChanges heard;
};

} // namespace healthintf::healthctl
