#include "hosted_nodes.hpp"

#include "data_cache/limits.hpp"
#include "data_cache/withdrawal.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>

#include <systemd/sd-bus.h>

#include <algorithm>

namespace healthintf::healthmgr
{

using health_namespace::FaultAndHealth;
using health_namespace::HealthStatus;

std::string faultOfKey(const std::string& key)
{
    const std::string root = names::root;
    if (sd_bus_object_path_is_valid(key.c_str()) <= 0)
    {
        return "no object path";
    }
    if (key != root && !key.starts_with(root + "/"))
    {
        return "not below " + root;
    }
    if (key.size() > host::maxRecordPath)
    {
        return "more than " + std::to_string(host::maxRecordPath) +
               " bytes long";
    }
    const auto depth = std::count(
        key.begin() + static_cast<std::ptrdiff_t>(root.size()), key.end(), '/');
    if (static_cast<std::size_t>(depth) > maxDepth)
    {
        return "more than " + std::to_string(maxDepth) + " levels deep";
    }
    return {};
}

std::vector<std::string> withAncestors(const std::string& key)
{
    std::vector<std::string> keys;
    for (std::string next = key; !next.empty();
         next = HealthStatus::GetParentKey(next))
    {
        keys.push_back(next);
    }
    std::ranges::reverse(keys);
    return keys;
}

HostedNodes::HostedNodes(sdbusplus::bus_t& bus) : bus(bus)
{}

bool HostedNodes::host(const std::string& key)
{
    for (const std::string& each : withAncestors(key))
    {
        if (const auto record = host::findHealthRecord(each))
        {
            // What could not hear its children was published all the same,
            // and does not do for a node.
            if (record->owner == host::ProcessIdentity::self() && !hosts(each))
            {
                return false;
            }
            continue;
        }
        // A node that only gathers what its children report has no health of
        // its own.
        std::unique_ptr<FaultAndHealth> node(FaultAndHealth::Init(
            bus, each, health_namespace::healthNone, true));
        if (!node)
        {
            return false;
        }
        nodes.insert_or_assign(each, std::move(node));
    }
    return true;
}

bool HostedNodes::hosts(const std::string& key) const
{
    return nodes.contains(key);
}

void HostedNodes::release(const std::string& key)
{
    nodes.erase(key);
}

} // namespace healthintf::healthmgr
