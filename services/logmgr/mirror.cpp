#include "mirror.hpp"

#include "../common/service_log.hpp"

namespace healthintf::logmgr
{

namespace log = services::log;

Mirror::Mirror(const EventLog& log) : events(log)
{}

void Mirror::follow(const EventLog::Addition& addition)
{
    // A change that failed may be in the log all the same once it is opened
    // again.
    if (behind || addition.sequence != next)
    {
        renew();
    }
    else
    {
        note(mirror.add(addition.sequence, addition.entry, addition.dropped));
    }
}

bool Mirror::renew()
{
    note(mirror.replace([this](const host::SelMirror::Sink& put) {
        events.readAll(put);
    }));
    return !behind;
}

void Mirror::note(int result)
{
    behind = result != 0;
    next = events.nextSequence();
    if (behind && !failing)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the data cache lacks the last change of the "
                    "log until it can be written again");
    }
    failing = behind;
    if (behind && askForRepair)
    {
        askForRepair();
    }
}

} // namespace healthintf::logmgr
