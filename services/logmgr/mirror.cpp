#include "mirror.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"

namespace healthintf::logmgr
{

namespace log = services::log;

namespace
{

/** Lines about a mirror that goes again and again. */
constinit host::LineLimit lossLines;

} // namespace

Mirror::Mirror(const EventLog& log) : events(log)
{}

void Mirror::follow(const EventLog::Addition& addition)
{
    // A change that failed may be in the log all the same once it is opened
    // again.
    look();
    if (behind || addition.sequence != next)
    {
        renew();
    }
    else
    {
        note(mirror.add(addition.sequence, addition.entry, addition.dropped));
    }
}

void Mirror::look()
{
    if (behind || mirror.isInPlace())
    {
        return;
    }
    if (lossLines.admits())
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: the mirror of the log in the data cache was "
                    "removed or replaced: it is made anew");
    }
    renew();
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
