// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Changes as lines. */

#include "../context.hpp"
#include "note_signals.hpp"
#include "tree_follower.hpp"
#include "watch_filter.hpp"

namespace healthintf::healthctl
{

/** Writes a line for each change, with its time: for people, or with JSON an
 *  object for programs. */
class LineWatcher
{
  public:
    /** Writes the first line, after which no change is missed.
     *
     *  @param[in] filter what is watched
     *  @param[in] loop runs the changes; all must outlive this object */
    LineWatcher(const Context& context, const WatchFilter& filter, sd_bus* bus,
                services::EventLoop& loop);

  private:
    void writeBeginning() const;
    void write(const Changes& changes) const;

    const Context& context;
    const WatchFilter& filter;
    services::EventSource hangup;
    TreeFollower follower;
    NoteSignals notes;
};

} // namespace healthintf::healthctl
