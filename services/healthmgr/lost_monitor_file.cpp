// SPDX-License-Identifier: Apache-2.0
#include "lost_monitor_file.hpp"

#include "../common/config_file.hpp"
#include "../common/config_table.hpp"

#include <limits>
#include <sstream>
#include <utility>

namespace healthintf::healthmgr
{

namespace fs = std::filesystem;
using services::ConfigTable;

namespace
{

/** The array of tables. */
constexpr const char* tableName = "lost";

/** The names of a table's values. */
constexpr const char* keyName = "component";
constexpr const char* processName = "process";
constexpr const char* pidName = "pid";
constexpr const char* userName = "user";
constexpr const char* faultsName = "faults";
constexpr const char* worstName = "worst";

constexpr double mostNumber = std::numeric_limits<uint32_t>::max();

void readMonitor(ConfigTable& table, LostMonitorMap& monitors)
{
    const auto number = [&table](const char* name) {
        return static_cast<uint32_t>(table.number(name, 0, mostNumber, 0));
    };
    std::string key = table.text(keyName);
    // An empty name is left out.
    LostMonitor monitor{.process = table.has(processName)
                                       ? table.text(processName)
                                       : std::string(),
                        .pid = number(pidName),
                        .user = number(userName),
                        .faults = number(faultsName),
                        .worst = number(worstName)};
    table.finish();
    monitors.insert_or_assign(std::move(key), std::move(monitor));
}

toml::table format(const std::string& key, const LostMonitor& monitor)
{
    toml::table table;
    table.insert(keyName, key);
    if (!monitor.process.empty())
    {
        table.insert(processName, monitor.process);
    }
    const auto put = [&table](const char* name, auto value) {
        table.insert(name, static_cast<int64_t>(value));
    };
    put(pidName, monitor.pid);
    put(userName, monitor.user);
    put(faultsName, monitor.faults);
    put(worstName, monitor.worst);
    return table;
}

} // namespace

LostMonitorMap parseLostMonitors(std::string_view text, const std::string& name)
{
    const toml::table root = services::parseToml(text, name);
    const toml::node* tables = root.get(tableName);
    if (tables == nullptr)
    {
        return {};
    }
    if (!tables->is_array_of_tables())
    {
        ConfigTable(root, name, "").fail(tableName, "must be tables");
    }
    LostMonitorMap monitors;
    for (const toml::node& each : *tables->as_array())
    {
        ConfigTable table(*each.as_table(), name, tableName);
        readMonitor(table, monitors);
    }
    return monitors;
}

LostMonitorMap readLostMonitors(const fs::path& file)
{
    std::error_code error;
    if (!fs::exists(file, error) && !error)
    {
        return {};
    }
    return parseLostMonitors(services::readConfigFile(file), file.string());
}

std::string formatLostMonitors(const LostMonitorMap& monitors)
{
    toml::table root;
    if (!monitors.empty())
    {
        toml::array tables;
        for (const auto& [key, monitor] : monitors)
        {
            tables.push_back(format(key, monitor));
        }
        root.insert(tableName, std::move(tables));
    }
    std::ostringstream text;
    text << root << '\n';
    return text.str();
}

} // namespace healthintf::healthmgr
