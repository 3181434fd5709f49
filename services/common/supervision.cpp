#include "supervision.hpp"

#include "service_log.hpp"

#include <systemd/sd-daemon.h>

#include <cstring>
#include <system_error>

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

Supervision::Supervision(EventLoop& loop)
{
    if (const int result = sd_event_set_watchdog(loop.get(), 1); result < 0)
    {
        throw std::system_error(-result, std::generic_category(),
                                "sd_event_set_watchdog");
    }
    tell("READY=1");
}

Supervision::~Supervision()
{
    tell("STOPPING=1");
}

} // namespace healthintf::services
