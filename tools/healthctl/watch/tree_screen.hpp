#pragma once

/** @file The health tree on a terminal, as it changes. */

#include "../context.hpp"
#include "../output/tree_output.hpp"
#include "bus_changes.hpp"
#include "event_loop.hpp"
#include "screen.hpp"

namespace healthintf::healthctl
{

/** Draws the tree, and draws it anew when it or the terminal's size changes, at
 *  most ten times a second. The key q ends the loop; while the process is
 *  stopped, the terminal is as it was before. */
class TreeScreen
{
  public:
    /** @param[in] loop runs the changes; all must outlive this object */
    TreeScreen(const Context& context, const TreeView& view, sd_bus* bus,
               EventLoop& loop);

  private:
    void draw();
    void pause();
    void takeKeys();

    const Context& context;
    TreeView view;
    EventLoop& loop;
    BusChanges heard;
    Screen screen;
};

} // namespace healthintf::healthctl
