// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Does a piece of work on request, and repeats it after a pause when it
 *  fails. */

#include "event_loop.hpp"
#include "growing_pause.hpp"

#include <chrono>
#include <functional>
#include <optional>

namespace healthintf::services
{

/** One piece of work in an event loop. While it fails, it is repeated after
 *  growing pauses; requests during a pause do not shorten it. */
class Retry
{
  public:
    using Clock = std::chrono::steady_clock;

    /** @param[in] loop runs the work; must outlive this object
     *  @param[in] work does the work; returns whether it succeeded. An
     *             exception is logged and counts as a failure. The work itself
     *             logs its other failures: the pauses bound how often.
     *  @param[in] pauses how long to wait after failures */
    Retry(EventLoop& loop, std::function<bool()> work,
          GrowingPause pauses = GrowingPause());
    Retry(const Retry&) = delete;
    Retry& operator=(const Retry&) = delete;

    /** Requests the work: the loop does it next, once for any number of
     *  requests, or when the pause after a failure is over. */
    void request();

    /** Does the work at once, unless there is a pause. */
    void attempt();

    /** Does the work at once, even in a pause, which a failure does not
     *  lengthen. */
    void insist();

    /** Counts a failure that was found after the work had returned. */
    void fail();

    /** Whether the work has been failing for no longer than @p most. */
    bool isProgressing(Clock::duration most) const
    {
        return !failingSince || Clock::now() - *failingSince <= most;
    }

  private:
    bool tryWork();

    std::function<bool()> work;
    GrowingPause pauses;
    std::optional<Clock::time_point> failingSince;
    bool paused = false;
    EventSource requested;
    EventSource pauseEnd;
};

} // namespace healthintf::services
