// SPDX-License-Identifier: Apache-2.0
#include "hide_target.hpp"

#include "component.hpp"

#include <set>

namespace healthintf::healthctl
{
namespace
{

std::string describeCount(std::size_t count, const char* thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

} // namespace

bool isNamed(const Fault& fault, const HideTarget& target)
{
    if (!target.key.empty() && getComponent(fault.path) == target.key)
    {
        return true;
    }
    if (!target.sensorPath.empty())
    {
        return fault.record.sensorPath() == target.sensorPath;
    }
    return target.sensorNumber != 0 &&
           fault.record.sensorNumber() ==
               static_cast<uint32_t>(target.sensorNumber);
}

TargetCounts countTargets(const HideTarget& target, const Faults& faults)
{
    TargetCounts counts;
    std::set<std::string> components;
    if (!target.key.empty())
    {
        components.insert(target.key);
    }
    for (const Fault& fault : faults)
    {
        if (isNamed(fault, target))
        {
            ++counts.faults;
            components.insert(getComponent(fault.path));
        }
    }
    counts.components = components.size();
    return counts;
}

std::string describeTargets(bool hide, const TargetCounts& counts)
{
    if (counts.components == 0)
    {
        return "No component has a fault of this sensor.";
    }
    return "Asked " + describeCount(counts.components, "component") + " to " +
           (hide ? "hide " : "show ") + describeCount(counts.faults, "fault") +
           ".";
}

} // namespace healthintf::healthctl
