// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Changes as lines for programs. */

#include "../context.hpp"
#include "tree_follower.hpp"

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
    services::EventSource hangup;
    TreeFollower follower;
};

} // namespace healthintf::healthctl
