// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The event loop of "healthctl watch". */

#include "../../../services/common/event_loop.hpp"

#include <systemd/sd-bus.h>

namespace healthintf::healthctl
{

/** An event loop that handles a connection to the bus until a signal ends it
 *  or the bus is lost. */
class WatchLoop
{
  public:
    /** SIGHUP, SIGINT, SIGQUIT and SIGTERM end the loop, unless the process
     *  ignores them.
     *
     *  @param[in] bus must outlive this object
     *  @throws std::system_error when there can be no loop */
    explicit WatchLoop(sd_bus* bus);
    ~WatchLoop();
    WatchLoop(const WatchLoop&) = delete;
    WatchLoop& operator=(const WatchLoop&) = delete;

    /** The loop, for further events. */
    services::EventLoop& events()
    {
        return loop;
    }

    /** Runs until a signal, or until events().exit(0).
     *
     *  @throws Error when the bus is lost; or what an action threw */
    void run();

  private:
    sd_bus* bus;
    services::EventLoop loop{services::OnException::endLoop};
};

} // namespace healthintf::healthctl
