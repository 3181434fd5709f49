// SPDX-License-Identifier: Apache-2.0
#include "cache_content.hpp"

#include "../common/entry_path.hpp"
#include "healthmgr/protocol.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <systemd/sd-bus.h>

namespace healthintf::exporter
{
namespace
{

namespace da = DataAbstraction;

/** Whether a record is one of the library's. Others can only be made up: two of
 *  them may have labels that look the same. */
bool isObjectPath(const std::string& path)
{
    return sd_bus_object_path_is_valid(path.c_str()) > 0;
}

bool isAnswer(long result)
{
    return result == da::readOk || result == da::readNoRecords;
}

} // namespace

std::optional<CacheContent> readCacheContent()
{
    std::map<std::string, HealthStatus_gen> nodes;
    std::map<std::string, FaultEntry_gen> entries;
    if (!isAnswer(da::HealthStatus::get_map_by_path_prefixes({}, {}, nodes)) ||
        !isAnswer(da::FaultEntry::get_map_by_path_prefixes({}, {}, entries)))
    {
        return std::nullopt;
    }
    CacheContent content;
    for (const auto& [key, node] : nodes)
    {
        if (isObjectPath(key))
        {
            content.health.emplace(key, node.healthStatus());
        }
    }
    for (const auto& [path, entry] : entries)
    {
        if (!isObjectPath(path))
        {
            continue;
        }
        FaultCounts& counts =
            content.faults[std::string(services::getComponent(path))];
        ++counts[{entry.severity(), entry.hidden()}];
        content.lostMonitors +=
            entry.messageID() == host::monitorLostMessage ? 1 : 0;
    }
    return content;
}

std::set<std::string> listComponents(const CacheContent& cache)
{
    std::set<std::string> keys;
    for (const auto& [key, health] : cache.health)
    {
        keys.insert(key);
    }
    for (const auto& [key, counts] : cache.faults)
    {
        keys.insert(key);
    }
    return keys;
}

std::vector<std::string> readFaultEntries()
{
    std::map<std::string, FaultEntry_gen> entries;
    da::FaultEntry::get_map_by_path_prefixes({}, {}, entries);
    std::vector<std::string> paths;
    paths.reserve(entries.size());
    for (const auto& [path, entry] : entries)
    {
        paths.push_back(path);
    }
    return paths;
}

} // namespace healthintf::exporter
