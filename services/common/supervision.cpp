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

/** A service manager that does not hear us is no reason to end; it has its own
 *  time limits. */
void tell(const char* state)
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
        signs = loop.every(std::chrono::microseconds(limit / 2),
                           [isProgressing = std::move(isProgressing)] {
                               if (isProgressing())
                               {
                                   tell("WATCHDOG=1");
                               }
                           });
    }
    tell("READY=1");
}

Supervision::~Supervision()
{
    tell("STOPPING=1");
}

} // namespace healthintf::services
