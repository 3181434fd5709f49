#include "mirror.hpp"

#include "../common/service_log.hpp"
#include "data_cache/sel_entry_cache.hpp"

namespace healthintf::logmgr
{

namespace log = services::log;

Mirror::Mirror(const EventLog& log) : events(log)
{
    renew();
}

void Mirror::follow(const EventLog::Addition& addition)
{
    if (behind)
    {
        renew();
    }
    else
    {
        note(host::addSelEntry(addition.entry, addition.dropped));
    }
}

void Mirror::renew()
{
    note(events.entries() == 0
             ? host::removeSelEntries()
             : host::replaceSelEntries([this](const host::SelEntrySink& put) {
                   events.readAll(put);
               }));
}

void Mirror::note(int result)
{
    const bool failed = result != 0;
    if (failed && !behind)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the data cache lacks the last change of the "
                    "log until a later one is mirrored");
    }
    behind = failed;
}

} // namespace healthintf::logmgr
