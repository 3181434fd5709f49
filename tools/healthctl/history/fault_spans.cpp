// SPDX-License-Identifier: Apache-2.0
#include "fault_spans.hpp"

#include "../error.hpp"

#include <algorithm>

namespace healthintf::healthctl
{
namespace
{

/** A span that may end before it begins when the clock was set meanwhile. */
TimeSpan makeSpan(int64_t begin, int64_t end)
{
    return {.begin = begin, .end = std::max(begin, end)};
}

} // namespace

FaultSpans::FaultSpans(Handlers handlers) : handlers(std::move(handlers))
{}

void FaultSpans::take(const HistoryRecord& record)
{
    if (isAppearance(record.kind))
    {
        appear(record);
    }
    else if (isEnd(record.kind))
    {
        end(record);
    }
    else if (record.kind == "hidden" || record.kind == "shown")
    {
        setVisible(record, record.kind == "shown");
    }
}

void FaultSpans::appear(const HistoryRecord& record)
{
    const Key key(record.entry, record.user.value_or(0));
    if (const auto open = openFaults.find(key); open != openFaults.end())
    {
        // Nobody recorded its end, which was before this.
        close(open, record.time, false);
    }
    if (openFaults.size() >= mostOpen)
    {
        throw Error(ExitCode::failed,
                    "more than " + std::to_string(mostOpen) +
                        " faults last at one time; choose some of them, for "
                        "example with --component");
    }
    openFaults.emplace(key, Open{record, record.time});
}

void FaultSpans::end(const HistoryRecord& record)
{
    const auto open = openFaults.find({record.entry, record.user.value_or(0)});
    if (open != openFaults.end())
    {
        close(open, record.time, false);
    }
    else if (record.lasted)
    {
        // Its appearance was dropped since.
        constexpr int64_t longest = int64_t{1} << 62;
        const TimeSpan span =
            makeSpan(std::max(record.time, -longest) -
                         std::clamp<int64_t>(*record.lasted, 0, longest),
                     record.time);
        handlers.lasted(record, span, false);
        handlers.visible(record, span);
    }
}

void FaultSpans::close(OpenFaults::iterator open, int64_t time, bool lasts)
{
    const auto& [fault, visibleSince] = open->second;
    handlers.lasted(fault, makeSpan(fault.time, time), lasts);
    if (visibleSince)
    {
        handlers.visible(fault, makeSpan(*visibleSince, time));
    }
    openFaults.erase(open);
}

void FaultSpans::setVisible(const HistoryRecord& record, bool visible)
{
    const auto found = openFaults.find({record.entry, record.user.value_or(0)});
    if (found == openFaults.end())
    {
        return;
    }
    auto& [fault, visibleSince] = found->second;
    if (visible)
    {
        visibleSince = visibleSince.value_or(record.time);
    }
    else if (visibleSince)
    {
        handlers.visible(fault, makeSpan(*visibleSince, record.time));
        visibleSince.reset();
    }
}

void FaultSpans::finish(int64_t now)
{
    while (!openFaults.empty())
    {
        close(openFaults.begin(), now, true);
    }
}

} // namespace healthintf::healthctl
