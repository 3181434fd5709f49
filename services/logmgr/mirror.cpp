#include "mirror.hpp"

#include "../common/service_log.hpp"

namespace healthintf::logmgr
{

namespace log = services::log;

Mirror::Mirror(const EventLog& log) : events(log)
{}

void Mirror::follow(const EventLog::Addition& addition)
{
    if (behind)
    {
        renew();
    }
    else
    {
        note(mirror.add(addition.sequence, addition.entry, addition.dropped));
    }
}

void Mirror::renew()
{
    note(mirror.replace([this](const host::SelMirror::Sink& put) {
        events.readAll(put);
    }));
}

void Mirror::note(int result)
{
    behind = result != 0;
    if (behind && !failing)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the data cache lacks the last change of the "
                    "log until a later one is mirrored");
    }
    failing = behind;
}

} // namespace healthintf::logmgr
