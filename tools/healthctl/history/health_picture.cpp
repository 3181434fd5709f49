// SPDX-License-Identifier: Apache-2.0
#include "health_picture.hpp"

#include "../model/component.hpp"

#include <hmi_health_value.hpp>

#include <algorithm>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

SliceHealth healthOf(uint32_t severity)
{
    switch (severity)
    {
        case health_namespace::healthOk:
            return SliceHealth::ok;
        case health_namespace::healthWarning:
            return SliceHealth::warning;
        case health_namespace::healthCritical:
            return SliceHealth::critical;
        default:
            return SliceHealth::unknown;
    }
}

} // namespace

HealthPicture::HealthPicture(std::string top, const TimeSlices& slices,
                             TimeSpan recorded) :
    top(std::move(top)),
    slices(slices), background(slices.count, SliceHealth::notRecorded)
{
    if (shows(recorded) && recorded.begin < recorded.end)
    {
        paint(background, recorded, SliceHealth::ok);
    }
    whole = background;
}

void HealthPicture::take(const HistoryRecord& fault, TimeSpan span)
{
    if (!shows(span))
    {
        return;
    }
    const SliceHealth health = healthOf(fault.severity);
    paint(whole, span, health);
    auto row = own.find(fault.component);
    if (row == own.end() && own.size() >= mostRows)
    {
        cut = true;
        return;
    }
    if (row == own.end())
    {
        row = own.emplace(fault.component, background).first;
    }
    paint(row->second, span, health);
}

/** Whether a part of a span is in the slices. */
bool HealthPicture::shows(TimeSpan span) const
{
    return span.begin < slices.end() * millisecondsOfSecond &&
           span.end >= slices.begin * millisecondsOfSecond;
}

/** Makes slices as bad as a span, of which at least one. */
void HealthPicture::paint(Slices& row, TimeSpan span, SliceHealth health) const
{
    const std::size_t first = findSlice(span.begin);
    const std::size_t last = findSlice(std::max(span.begin, span.end - 1));
    for (std::size_t i = first; i <= last && i < row.size(); ++i)
    {
        row[i] = std::max(row[i], health);
    }
}

/** The slice of a time; the first or the last one for times outside. */
std::size_t HealthPicture::findSlice(int64_t time) const
{
    const int64_t last =
        slices.end() * millisecondsOfSecond - millisecondsOfSecond;
    const int64_t inside =
        std::clamp(time, slices.begin * millisecondsOfSecond, last);
    return static_cast<std::size_t>(
        (inside / millisecondsOfSecond - slices.begin) / slices.length);
}

std::vector<PictureRow> HealthPicture::rows() const
{
    std::vector<PictureRow> all{{.component = top, .slices = whole}};
    for (const auto& [component, ownSlices] : own)
    {
        if (component == top)
        {
            continue;
        }
        PictureRow row{.component = component, .slices = ownSlices};
        for (const auto& [other, others] : own)
        {
            if (isAtOrBelow(other, component))
            {
                std::ranges::transform(
                    row.slices, others, row.slices.begin(),
                    [](SliceHealth one, SliceHealth another) {
                        return std::max(one, another);
                    });
            }
        }
        all.push_back(std::move(row));
    }
    return all;
}

} // namespace healthintf::healthctl
