#include "hosted_nodes.hpp"

#include "../common/service_log.hpp"
#include "data_cache/segment_format.hpp"
#include "data_cache/withdrawal.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>
#include <platform/data_abstraction/results.hpp>

#include <systemd/sd-bus.h>

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace healthintf::healthmgr
{

namespace log = services::log;

using health_namespace::FaultAndHealth;
using health_namespace::HealthStatus;

namespace
{

constexpr std::size_t entrySuffix =
    std::string_view("/entry/Fault_4194304FFFF_4").size();
static_assert(maxKey + entrySuffix <= host::maxRecordPath + 1);

bool isBelowTheRoot(std::string_view path)
{
    const std::string_view root = names::root;
    return path.starts_with(root) &&
           (path.size() == root.size() || path[root.size()] == '/');
}

} // namespace

bool isKey(const char* text)
{
    const std::string_view path = text;
    return path.size() <= maxKey && isBelowTheRoot(path) &&
           sd_bus_object_path_is_valid(text) > 0;
}

std::string faultOfKey(const std::string& key)
{
    const std::string root = names::root;
    if (key.size() > maxKey)
    {
        return "more than " + std::to_string(maxKey) + " bytes long";
    }
    if (sd_bus_object_path_is_valid(key.c_str()) <= 0)
    {
        return "no object path";
    }
    if (!isBelowTheRoot(key))
    {
        return "not below " + root;
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

HostedNodes::HostedNodes(sdbusplus::bus_t& bus, NodeSlots::Bounds bounds) :
    bus(bus), slots(bounds, geteuid())
{}

HostedNodes::Outcome HostedNodes::host(const std::string& key,
                                       const std::optional<Asker>& asker)
{
    std::vector<std::string> missing;
    for (const std::string& each : withAncestors(key))
    {
        const auto record = host::findHealthRecord(each);
        if (!record)
        {
            missing.push_back(each);
        }
        // What could not hear its children was published all the same, and
        // does not do for a node.
        else if (record->owner == host::ProcessIdentity::self() && !hosts(each))
        {
            return Outcome::failed;
        }
    }
    if (missing.empty())
    {
        return Outcome::there;
    }
    if (asker && !slots.hasRoom(*asker, missing.size()))
    {
        return Outcome::overLimit;
    }
    if (NodeSlots::Clock::now() < pauseEnd)
    {
        return Outcome::failed;
    }
    for (const std::string& each : missing)
    {
        if (!make(each))
        {
            pauseEnd = NodeSlots::Clock::now() + pauses.next();
            return Outcome::failed;
        }
        if (each != names::root)
        {
            slots.add(each, asker);
        }
    }
    pauses.reset();
    return Outcome::there;
}

bool HostedNodes::make(const std::string& key)
{
    // A node that only gathers what its children report has no health of its
    // own.
    std::unique_ptr<FaultAndHealth> node(
        FaultAndHealth::Init(bus, key, health_namespace::healthNone, true));
    if (!node)
    {
        return false;
    }
    nodes.insert_or_assign(key, std::move(node));
    return true;
}

bool HostedNodes::hosts(const std::string& key) const
{
    return nodes.contains(key);
}

void HostedNodes::release(const std::string& key)
{
    nodes.erase(key);
    slots.remove(key);
}

void HostedNodes::releaseIdle(NodeSlots::Clock::time_point now)
{
    if (slots.empty())
    {
        return;
    }
    std::map<std::string, HealthStatus_gen> records;
    if (DataAbstraction::HealthStatus::get_map_by_path_prefixes(
            {}, {}, records) != DataAbstraction::readOk)
    {
        return;
    }
    std::set<std::string> keys;
    for (const auto& [key, record] : records)
    {
        keys.insert(keys.end(), key);
    }
    for (const std::string& key : slots.idle(keys, now))
    {
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: nothing is below %s any more, giving it up",
                    key.c_str());
        release(key);
    }
}

void HostedNodes::forget(const std::string& name)
{
    slots.forget(name);
}

} // namespace healthintf::healthmgr
