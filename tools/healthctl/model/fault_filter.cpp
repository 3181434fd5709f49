// SPDX-License-Identifier: Apache-2.0
#include "fault_filter.hpp"

#include "component.hpp"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace healthintf::healthctl
{
namespace
{

bool matches(const Fault& fault, const FaultFilter& filter)
{
    return isAtOrBelow(getComponent(fault.path), filter.key) &&
           (filter.severities.empty() ||
            filter.severities.contains(fault.record.severity())) &&
           (filter.visibility == Visibility::all ||
            fault.record.hidden() == (filter.visibility == Visibility::hidden));
}

/** The values to sort by. The path is the last, so that no two faults are
 *  equal. */
auto sortKey(const Fault& fault, FaultOrder order)
{
    const auto least = -static_cast<int64_t>(fault.record.severity());
    return std::tuple(order == FaultOrder::component ? getComponent(fault.path)
                                                     : std::string(),
                      order == FaultOrder::time ? 0 : least,
                      fault.record.timestamp(), least, fault.path);
}

} // namespace

Faults chooseFaults(const Faults& faults, const FaultFilter& filter)
{
    Faults chosen;
    std::ranges::copy_if(faults, std::back_inserter(chosen),
                         [&filter](const Fault& fault) {
                             return matches(fault, filter);
                         });
    std::ranges::sort(chosen, {}, [&filter](const Fault& fault) {
        return sortKey(fault, filter.order);
    });
    if (filter.reverse)
    {
        std::ranges::reverse(chosen);
    }
    if (filter.limit != 0 && filter.limit < chosen.size())
    {
        chosen.erase(chosen.begin() + static_cast<std::ptrdiff_t>(filter.limit),
                     chosen.end());
    }
    return chosen;
}

} // namespace healthintf::healthctl
