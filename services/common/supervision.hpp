#pragma once

/** @file What the service manager hears of a service. */

#include "event_loop.hpp"

#include <functional>

namespace healthintf::services
{

/** Tells the service manager that this service is ready, from then on that it
 *  does what it is asked for, twice in each time in which that is wanted, and
 *  at the end that it stops. Without a service manager it does nothing. */
class Supervision
{
  public:
    /** @param[in] loop the service's; must outlive this object
     *  @param[in] isProgressing whether the service does what it is asked for.
     *             A service whose loop turns without that gives no sign of
     *             life, and the service manager starts it anew.
     *  @throws std::system_error when the loop has no room for the timer */
    explicit Supervision(
        EventLoop& loop, std::function<bool()> isProgressing = [] {
            return true;
        });
    ~Supervision();
    Supervision(const Supervision&) = delete;
    Supervision& operator=(const Supervision&) = delete;

  private:
    /** Runs when the service manager asked for signs of life. */
    EventSource signs;
};

} // namespace healthintf::services
