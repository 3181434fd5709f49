// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reports a service's state to the service manager. */

#include "event_loop.hpp"

#include <functional>

namespace healthintf::services
{

/** Tells the service manager that this service is ready, and in the end that it
 *  stops. In between it sends watchdog messages, two in each watchdog period.
 *  Does nothing without a service manager. */
class Supervision
{
  public:
    /** @param[in] loop the service's loop; must outlive this object
     *  @param[in] isProgressing whether the service does its work. While it
     *             returns false, no watchdog message is sent, and the service
     *             manager restarts the service.
     *  @throws std::system_error when the timer cannot be created */
    explicit Supervision(
        EventLoop& loop, std::function<bool()> isProgressing = [] {
            return true;
        });
    ~Supervision();
    Supervision(const Supervision&) = delete;
    Supervision& operator=(const Supervision&) = delete;

  private:
    /** Sends watchdog messages; only if the service manager wants them. */
    EventSource watchdog;
};

} // namespace healthintf::services
