// SPDX-License-Identifier: Apache-2.0
#include "paced_action.hpp"

#include <algorithm>
#include <ctime>
#include <utility>

namespace healthintf::healthctl
{

using std::chrono::microseconds;

PacedAction::PacedAction(services::EventLoop& loop, microseconds period,
                         std::function<void()> action) :
    loop(loop),
    period(period), action(std::move(action)), timer(loop.onceLater([this] {
        perform();
    }))
{}

void PacedAction::request()
{
    if (!std::exchange(requested, true))
    {
        services::EventLoop::after(
            timer, std::max(microseconds::zero(), earliest - now()));
    }
}

void PacedAction::perform()
{
    requested = false;
    earliest = now() + period;
    action();
}

microseconds PacedAction::now() const
{
    // The loop's timers count from here, not from the present.
    uint64_t turn = 0;
    sd_event_now(loop.get(), CLOCK_MONOTONIC, &turn);
    return microseconds(turn);
}

} // namespace healthintf::healthctl
