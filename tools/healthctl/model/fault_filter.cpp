#include "fault_filter.hpp"

#include "component.hpp"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace healthintf::healthctl
{
namespace
{

bool isWanted(const Fault& fault, const FaultWish& wish)
{
    return isAtOrBelow(componentOf(fault.path), wish.key) &&
           (wish.severities.empty() ||
            wish.severities.contains(fault.record.severity())) &&
           (wish.visibility == Visibility::all ||
            fault.record.hidden() == (wish.visibility == Visibility::hidden));
}

/** What is compared; the path last, so that every order is a whole one. */
auto sortKey(const Fault& fault, FaultOrder order)
{
    const auto least = -static_cast<int64_t>(fault.record.severity());
    return std::tuple(order == FaultOrder::component ? componentOf(fault.path)
                                                     : std::string(),
                      order == FaultOrder::time ? 0 : least,
                      fault.record.timestamp(), least, fault.path);
}

} // namespace

Faults chooseFaults(const Faults& faults, const FaultWish& wish)
{
    Faults chosen;
    std::ranges::copy_if(faults, std::back_inserter(chosen),
                         [&wish](const Fault& fault) {
                             return isWanted(fault, wish);
                         });
    std::ranges::sort(chosen, {}, [&wish](const Fault& fault) {
        return sortKey(fault, wish.order);
    });
    if (wish.reverse)
    {
        std::ranges::reverse(chosen);
    }
    if (wish.limit != 0 && wish.limit < chosen.size())
    {
        chosen.erase(chosen.begin() + static_cast<std::ptrdiff_t>(wish.limit),
                     chosen.end());
    }
    return chosen;
}

} // namespace healthintf::healthctl
