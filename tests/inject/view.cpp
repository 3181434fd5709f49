// SPDX-License-Identifier: Apache-2.0
#include "view.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <algorithm>

namespace healthintf::test
{

std::size_t View::count(const std::string& message) const
{
    return std::ranges::count_if(faults, [&](const auto& fault) {
        return fault.second.message == message;
    });
}

std::size_t View::hidden() const
{
    return std::ranges::count_if(faults, [](const auto& fault) {
        return fault.second.hidden;
    });
}

uint32_t View::worst(uint32_t base) const
{
    for (const auto& [path, fault] : faults)
    {
        base = fault.hidden ? base : std::max(base, fault.severity);
    }
    return base;
}

std::ostream& operator<<(std::ostream& out, const View& view)
{
    out << "health " << (view.health ? std::to_string(*view.health) : "none");
    for (const auto& [path, fault] : view.faults)
    {
        out << "\n  " << path << " " << fault.message << " " << fault.sensor
            << " " << fault.severity << (fault.hidden ? " hidden" : "");
    }
    return out;
}

View viewOfCache(const std::string& key)
{
    View view;
    std::map<std::string, FaultEntry_gen> faults;
    DataAbstraction::FaultEntry::get_map_by_path_prefixes({}, {key + "/entry/"},
                                                          faults);
    for (const auto& [path, fault] : faults)
    {
        view.faults[path] = {fault.messageID(), fault.sensorPath(),
                             fault.severity(), fault.hidden()};
    }
    std::map<std::string, HealthStatus_gen> nodes;
    DataAbstraction::HealthStatus::get_map_by_path_prefixes({}, {key}, nodes);
    if (const auto node = nodes.find(key); node != nodes.end())
    {
        view.health = node->second.healthStatus();
    }
    return view;
}

} // namespace healthintf::test
