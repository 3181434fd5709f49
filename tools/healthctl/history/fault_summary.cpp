// SPDX-License-Identifier: Apache-2.0
#include "fault_summary.hpp"

#include <algorithm>
#include <tuple>

namespace healthintf::healthctl
{
namespace
{

/** What distinguishes a fault from others. */
std::string makeIdentity(const HistoryRecord& fault)
{
    std::string identity;
    // No text of D-Bus contains a zero.
    for (const std::string& text :
         {fault.component, fault.messageId, fault.sensorPath,
          std::to_string(fault.sensorNumber)})
    {
        identity += text + '\0';
    }
    for (const std::string& argument : fault.args)
    {
        identity += argument + '\0';
    }
    return identity;
}

/** Whether the last appearances are close together. */
bool isFlapping(const std::deque<int64_t>& appearances)
{
    if (appearances.size() < flappingOccurrences)
    {
        return false;
    }
    const auto [first, last] = std::ranges::minmax(appearances);
    return last - first <= flappingTime.count();
}

} // namespace

FaultSums::FaultSums(TimeSpan period) : period(period)
{}

void FaultSums::take(const HistoryRecord& fault, TimeSpan span, bool lasts)
{
    if (span.begin >= period.end || span.end < period.begin)
    {
        return;
    }
    const std::string identity = makeIdentity(fault);
    if (sums.size() >= most && !sums.contains(identity))
    {
        ++leftOut;
        return;
    }
    auto& [summary, appearances] = sums[identity];
    summary.fault = fault;
    ++summary.occurrences;
    summary.total +=
        std::min(span.end, period.end) - std::max(span.begin, period.begin);
    summary.lasts = summary.lasts || lasts || span.end > period.end;
    if (span.begin >= period.begin)
    {
        appearances.push_back(span.begin);
        if (appearances.size() > flappingOccurrences)
        {
            appearances.pop_front();
        }
        summary.flapping = summary.flapping || isFlapping(appearances);
    }
}

std::vector<FaultSummary> FaultSums::summaries() const
{
    std::vector<FaultSummary> all;
    all.reserve(sums.size());
    for (const auto& [identity, sum] : sums)
    {
        all.push_back(sum.summary);
    }
    std::ranges::stable_sort(
        all, [](const FaultSummary& one, const FaultSummary& other) {
            return std::tie(one.occurrences, one.total) >
                   std::tie(other.occurrences, other.total);
        });
    return all;
}

} // namespace healthintf::healthctl
