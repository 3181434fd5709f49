// SPDX-License-Identifier: Apache-2.0
#include "fault_filter.hpp"

#include "component.hpp"
#include "message_id.hpp"

#include <algorithm>
#include <iterator>
#include <limits>
#include <tuple>

namespace healthintf::healthctl
{
namespace
{

bool hasVisibility(const Fault& fault, Visibility visibility)
{
    return visibility == Visibility::all ||
           fault.record.hidden() == (visibility == Visibility::hidden);
}

bool appearedIn(const Fault& fault, const Period& period)
{
    constexpr uint64_t last = std::numeric_limits<int64_t>::max();
    return period.contains(
        static_cast<int64_t>(std::min(fault.record.timestamp(), last)));
}

bool hasOneOf(const Fault& fault, const std::vector<std::string>& messages)
{
    return messages.empty() ||
           std::ranges::any_of(messages, [&](const std::string& asked) {
               return isSameMessage(fault.record.messageID(), asked);
           });
}

/** Whether a text has a part, with letters small or large. */
bool hasText(const std::string& text, const std::string& part)
{
    const auto toSmall = [](char letter) {
        return letter >= 'A' && letter <= 'Z'
                   ? static_cast<char>(letter - 'A' + 'a')
                   : letter;
    };
    const auto same = [&](char one, char other) {
        return toSmall(one) == toSmall(other);
    };
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
                       same) != text.end() ||
           part.empty();
}

bool matches(const Fault& fault, const FaultFilter& filter)
{
    return isAtOrBelow(getComponent(fault.path), filter.key) &&
           (filter.severities.empty() ||
            filter.severities.contains(fault.record.severity())) &&
           hasVisibility(fault, filter.visibility) &&
           appearedIn(fault, filter.period) &&
           hasOneOf(fault, filter.messages) &&
           hasText(fault.record.message(), filter.text);
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

std::size_t countFaults(const Faults& faults, Visibility visibility)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(faults, [visibility](const Fault& fault) {
            return hasVisibility(fault, visibility);
        }));
}

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
