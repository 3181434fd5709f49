#include "mirror.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"

namespace healthintf::logmgr
{

namespace log = services::log;

namespace
{

/** Limits the lines about a lost mirror, which somebody may remove
 *  repeatedly. */
constinit host::LineLimit lossLines;

/** A mirror of up to so many bytes is never made smaller. */
constexpr std::size_t small = 256UL << 10;

} // namespace

Mirror::Mirror(const EventLog& log) : events(log), tolerated(small)
{}

void Mirror::follow(const EventLog::Addition& addition)
{
    // A change that failed may still be in the log once it is opened again.
    if (behind || addition.sequence != next || isLost())
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
    if (behind)
    {
        return;
    }
    if (isLost())
    {
        renew();
    }
    else
    {
        giveSpaceBack();
    }
}

bool Mirror::isLost() const
{
    if (mirror.isInPlace())
    {
        return false;
    }
    if (lossLines.admits())
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: the mirror of the log in the data cache was "
                    "removed or replaced: it is made anew");
    }
    return true;
}

void Mirror::giveSpaceBack()
{
    if (mirror.size() <= tolerated || !mirror.isMostlyFree())
    {
        return;
    }
    // The old and the new mirror exist at the same time for a moment. Without
    // space for both, the old one stays complete.
    const std::size_t before = mirror.size();
    constexpr std::size_t more = 2;
    tolerated = makeAnew() == 0 ? small : before * more;
}

int Mirror::makeAnew()
{
    return mirror.replace([this](const host::SelMirror::Sink& put) {
        events.readAll(put);
    });
}

bool Mirror::renew()
{
    note(makeAnew());
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
