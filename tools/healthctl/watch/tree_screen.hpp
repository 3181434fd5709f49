// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The health tree on a terminal, as it changes. */

#include "../context.hpp"
#include "../output/tree_output.hpp"
#include "keys.hpp"
#include "note_follower.hpp"
#include "paced_action.hpp"
#include "screen.hpp"
#include "scrolling.hpp"
#include "tree_follower.hpp"
#include "watch_filter.hpp"

#include <chrono>
#include <vector>

namespace healthintf::healthctl
{

/** Draws the tree, and draws it anew when it or the terminal's size changes, at
 *  most ten times a second. The key q ends the loop, and others scroll; while
 *  the process is stopped, the terminal is as it was before. */
class TreeScreen
{
  public:
    /** @param[in] filter what is watched
     *  @param[in] loop runs the changes; all must outlive this object */
    TreeScreen(const Context& context, const TreeView& view,
               const WatchFilter& filter, sd_bus* bus,
               services::EventLoop& loop);

  private:
    using Clock = std::chrono::steady_clock;

    void draw();
    void pause();
    void takeKeys();

    const Context& context;
    TreeView view;
    const WatchFilter& filter;
    services::EventLoop& loop;
    PacedAction drawing;
    /** Whether something changed since it was drawn. */
    bool due = false;
    Clock::time_point drawn;
    NoteFollower notes;
    TreeFollower follower;
    Screen screen;
    KeyReader keys;
    Scrolling scrolling;
    std::vector<services::EventSource> sources;
};

} // namespace healthintf::healthctl
