// SPDX-License-Identifier: Apache-2.0
#include "silence.hpp"

#include "component.hpp"

#include <algorithm>
#include <iterator>

namespace healthintf::healthctl
{

void noteSilences(Faults& faults, const Silences& silences)
{
    for (Fault& fault : faults)
    {
        for (const Silence& silence : silences)
        {
            if (fault.record.hidden() && isNamed(fault, silence.target))
            {
                fault.silences.push_back(silence.id);
            }
        }
    }
}

Silences chooseSilences(const Silences& silences, const Faults& faults)
{
    Silences chosen;
    std::ranges::copy_if(
        silences, std::back_inserter(chosen), [&](const Silence& silence) {
            return std::ranges::any_of(faults, [&](const Fault& fault) {
                return std::ranges::count(fault.silences, silence.id) > 0;
            });
        });
    return chosen;
}

Silences chooseSilences(const Silences& silences, const HideTarget& target)
{
    Silences chosen;
    std::ranges::copy_if(
        silences, std::back_inserter(chosen), [&](const Silence& silence) {
            const HideTarget& its = silence.target;
            return (!its.key.empty() && its.key == target.key) ||
                   (!its.sensorPath.empty() &&
                    its.sensorPath == target.sensorPath) ||
                   (its.sensorNumber != 0 &&
                    its.sensorNumber == target.sensorNumber);
        });
    return chosen;
}

} // namespace healthintf::healthctl
