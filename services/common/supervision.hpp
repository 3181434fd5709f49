#pragma once

/** @file What the service manager hears of a service. */

#include "event_loop.hpp"

namespace healthintf::services
{

/** Tells the service manager that this service is ready, from then on that its
 *  loop turns, as often as was asked for, and at the end that it stops. Without
 *  a service manager it does nothing. */
class Supervision
{
  public:
    /** @param[in] loop the service's; must outlive this object
     *  @throws std::system_error when the loop cannot be watched */
    explicit Supervision(EventLoop& loop);
    ~Supervision();
    Supervision(const Supervision&) = delete;
    Supervision& operator=(const Supervision&) = delete;
};

} // namespace healthintf::services
