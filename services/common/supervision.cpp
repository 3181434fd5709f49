// SPDX-License-Identifier: Apache-2.0
#include "supervision.hpp"

#include "service_log.hpp"

#include <systemd/sd-daemon.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <utility>

namespace healthintf::services
{
namespace
{

/** Notifies the service manager. A failure is only logged: the service manager
 *  has its own time limits. */
void notify(const char* state)
{
    if (const int result = sd_notify(0, state); result < 0)
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: unable to tell the service manager %s: %s",
                    state, std::strerror(-result));
    }
}

} // namespace

Supervision::Supervision(EventLoop& loop, std::function<bool()> isProgressing)
{
    if (uint64_t limit = 0; sd_watchdog_enabled(0, &limit) > 0)
    {
        watchdog = loop.every(std::chrono::microseconds(limit / 2),
                              [isProgressing = std::move(isProgressing)] {
                                  if (isProgressing())
                                  {
                                      notify("WATCHDOG=1");
                                  }
                              });
    }
    notify("READY=1");
}

Supervision::~Supervision()
{
    notify("STOPPING=1");
}

} // namespace healthintf::services
