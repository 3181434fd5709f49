// SPDX-License-Identifier: Apache-2.0
#include "raised_fault_file.hpp"

#include "../common/config_file.hpp"
#include "../common/config_table.hpp"
#include "kept_file.hpp"

#include <limits>
#include <utility>

namespace healthintf::healthmgr
{

using services::ConfigTable;

namespace
{

/** The array of tables. */
constexpr const char* tableOfRaisedFault = "raised";

/** The names of a table's values. */
constexpr const char* keyOfRaisedFault = "component";
constexpr const char* messageOfRaisedFault = "message";
constexpr const char* argumentsOfRaisedFault = "arguments";
constexpr const char* sensorOfRaisedFault = "sensor";
constexpr const char* numberOfRaisedFault = "number";
constexpr const char* trialOfRaisedFault = "trial";
constexpr const char* endOfRaisedFault = "end";

void readFault(ConfigTable& table, RaisedFaultMap& faults)
{
    constexpr double mostNumber = std::numeric_limits<uint32_t>::max();
    std::string key = table.text(keyOfRaisedFault);
    RaisedFault fault{.message = table.text(messageOfRaisedFault),
                      .arguments = table.texts(argumentsOfRaisedFault, {}),
                      .sensorPath = table.text(sensorOfRaisedFault),
                      .sensorNumber = static_cast<uint32_t>(
                          table.number(numberOfRaisedFault, 0, mostNumber, 0)),
                      .trial = table.flag(trialOfRaisedFault, false),
                      .end = {}};
    if (table.has(endOfRaisedFault))
    {
        fault.end = std::chrono::seconds(
            static_cast<int64_t>(table.number(endOfRaisedFault, 0, mostExact)));
    }
    faults[std::move(key)].push_back(std::move(fault));
}

toml::table format(const std::string& key, const RaisedFault& fault)
{
    toml::array arguments;
    for (const std::string& argument : fault.arguments)
    {
        arguments.push_back(argument);
    }
    toml::table table;
    table.insert(keyOfRaisedFault, key);
    table.insert(messageOfRaisedFault, fault.message);
    table.insert(argumentsOfRaisedFault, std::move(arguments));
    table.insert(sensorOfRaisedFault, fault.sensorPath);
    table.insert(numberOfRaisedFault, static_cast<int64_t>(fault.sensorNumber));
    table.insert(trialOfRaisedFault, fault.trial);
    if (fault.end)
    {
        table.insert(endOfRaisedFault,
                     static_cast<int64_t>(fault.end->count()));
    }
    return table;
}

} // namespace

RaisedFaultMap parseRaisedFaults(const std::string& text,
                                 const std::string& name)
{
    RaisedFaultMap faults;
    forEachTable(services::parseToml(text, name), name, tableOfRaisedFault,
                 [&faults](ConfigTable& table) {
                     readFault(table, faults);
                 });
    return faults;
}

std::string formatRaisedFaults(const RaisedFaultMap& faults)
{
    toml::array tables;
    for (const auto& [key, each] : faults)
    {
        for (const RaisedFault& fault : each)
        {
            tables.push_back(format(key, fault));
        }
    }
    toml::table root;
    insertTables(root, tableOfRaisedFault, std::move(tables));
    return formatToml(root);
}

} // namespace healthintf::healthmgr
