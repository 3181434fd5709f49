// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file An action that is not performed too often. */

#include "../../../services/common/event_loop.hpp"

#include <chrono>
#include <cstdint>
#include <functional>

namespace healthintf::healthctl
{

/** Performs an action soon after it was requested: once for any number of
 *  requests, and never more often than once in a period. */
class PacedAction
{
  public:
    /** @param[in] loop performs the action; must outlive this object */
    PacedAction(services::EventLoop& loop, std::chrono::microseconds period,
                std::function<void()> action);
    PacedAction(const PacedAction&) = delete;
    PacedAction& operator=(const PacedAction&) = delete;

    void request();

  private:
    void perform();
    std::chrono::microseconds now() const;

    services::EventLoop& loop;
    std::chrono::microseconds period;
    std::function<void()> action;
    services::EventSource timer;
    /** The monotonic clock's time before which the action waits. */
    std::chrono::microseconds earliest{};
    bool requested = false;
};

} // namespace healthintf::healthctl
