// SPDX-License-Identifier: Apache-2.0
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
constexpr std::size_t minShrinkSize = 256UL << 10;

} // namespace

Mirror::Mirror(const EventLog& log) :
    events(log), shrinkThreshold(minShrinkSize)
{}

void Mirror::addEntry(const EventLog::Addition& addition)
{
    // A change that failed may still be in the log once it is opened again.
    if (incomplete || addition.sequence != next ||
        generation != events.generation() || openings != events.openings() ||
        isLost())
    {
        rebuild();
    }
    else
    {
        noteResult(
            mirror.add(addition.sequence, addition.entry, addition.dropped));
    }
}

void Mirror::check()
{
    if (incomplete)
    {
        return;
    }
    if (mirrorsAnotherLog() || isLost())
    {
        rebuild();
    }
    else
    {
        shrink();
    }
}

/** Whether the log holds something else, as after its file was overwritten. */
bool Mirror::mirrorsAnotherLog() const
{
    return next != events.nextSequence() || generation != events.generation() ||
           openings != events.openings();
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

void Mirror::shrink()
{
    if (mirror.size() <= shrinkThreshold || !mirror.isMostlyFree())
    {
        return;
    }
    // The old and the new mirror exist at the same time for a moment. Without
    // space for both, the old one stays complete.
    const std::size_t before = mirror.size();
    constexpr std::size_t more = 2;
    shrinkThreshold = replaceMirror() == 0 ? minShrinkSize : before * more;
}

int Mirror::replaceMirror()
{
    return mirror.replace([this](const host::SelMirror::Sink& put) {
        events.readAll(put);
    });
}

bool Mirror::rebuild()
{
    noteResult(replaceMirror());
    return !incomplete;
}

void Mirror::noteResult(int result)
{
    incomplete = result != 0;
    next = events.nextSequence();
    generation = events.generation();
    openings = events.openings();
    if (incomplete && !failing)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the data cache lacks the last change of the "
                    "log until it can be written again");
    }
    failing = incomplete;
    if (incomplete && requestRepair)
    {
        requestRepair();
    }
}

} // namespace healthintf::logmgr
