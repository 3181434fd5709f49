#pragma once

/** @file Does a piece of work when asked to, and again after a pause when it
 *  fails. */

#include "event_loop.hpp"
#include "growing_pause.hpp"

#include <chrono>
#include <functional>
#include <optional>

namespace healthintf::services
{

/** One piece of work in an event loop. While it fails it is tried again after
 *  pauses that grow, whoever asks for it meanwhile. */
class Retry
{
  public:
    using Clock = std::chrono::steady_clock;

    /** @param[in] loop runs the work; must outlive this object
     *  @param[in] work does it; returns whether it is done. What it throws is
     *             logged and counts as a failure. It logs its failures itself:
     *             the pauses bound how often.
     *  @param[in] pauses how long to wait after failures */
    Retry(EventLoop& loop, std::function<bool()> work,
          GrowingPause pauses = GrowingPause());
    Retry(const Retry&) = delete;
    Retry& operator=(const Retry&) = delete;

    /** Asks for the work: the loop does it next, once for any number of
     *  requests before, or when the pause after a failure is over. */
    void request();

    /** Does the work at once, unless there is a pause. */
    void attempt();

    /** Counts a failure that came to light later. */
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
    EventSource asked;
    EventSource pauseEnd;
};

} // namespace healthintf::services
