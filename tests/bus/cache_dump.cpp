// SPDX-License-Identifier: Apache-2.0
/** @file Prints the data cache as one JSON object. A process opens one data
 *  cache in its life, so tests that look into several run this program.
 *
 *  The arguments are prefixes of the paths of log entries; without arguments,
 *  prints all log entries. */

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>
#include <platform/data_abstraction/sel.hpp>

#include <nlohmann/json.hpp>

#include <iostream>
#include <map>
#include <string>
#include <vector>

int main(int argc, char** argv)
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
                          {"sensorPath", entry.sensorPath()},
                          {"sensorNumber", entry.sensorNumber()},
                          {"sensorType", entry.sensorType()},
                          {"fqdd", entry.fqdd()},
                          {"hidden", entry.hidden()}});
    }
    std::map<std::string, SELEntry_gen> events;
    const long answer = DataAbstraction::SELEntry::get_map_by_path_prefixes(
        {}, std::vector<std::string>(argv + 1, argv + argc), events);
    json sel = json::object();
    for (const auto& [path, event] : events)
    {
        sel[path] = {{"recordId", event.recordId()},
                     {"timestamp", event.timestamp()},
                     {"name", event.sensor().name},
                     {"path", event.sensor().path},
                     {"record", event.record()}};
    }
    std::cout << json{{"health", health},
                      {"faults", faults},
                      {"selAnswer", answer},
                      {"sel", sel}}
              << std::endl;
    return 0;
}
