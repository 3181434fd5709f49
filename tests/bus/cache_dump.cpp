/** @file Prints the data cache as one JSON object: a process opens one data
 *  cache in its life, so tests that see several read them through this. */

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <nlohmann/json.hpp>

#include <iostream>
#include <map>
#include <string>

int main()
{
    using nlohmann::json;

    std::map<std::string, HealthStatus_gen> nodes;
    std::map<std::string, FaultEntry_gen> entries;
    DataAbstraction::HealthStatus::get_map_by_path_prefixes({}, {}, nodes);
    DataAbstraction::FaultEntry::get_map_by_path_prefixes({}, {}, entries);

    json health = json::object();
    for (const auto& [key, node] : nodes)
    {
        health[key] = node.healthStatus();
    }
    json faults = json::array();
    for (const auto& [path, entry] : entries)
    {
        faults.push_back({{"path", path},
                          {"messageID", entry.messageID()},
                          {"message", entry.message()},
                          {"args", entry.args()},
                          {"severity", entry.severity()},
                          {"hidden", entry.hidden()}});
    }
    std::cout << json{{"health", health}, {"faults", faults}} << std::endl;
    return 0;
}
