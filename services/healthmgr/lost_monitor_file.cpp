// SPDX-License-Identifier: Apache-2.0
#include "lost_monitor_file.hpp"

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
constexpr const char* tableOfLostMonitor = "lost";

/** The names of a table's values. */
constexpr const char* keyOfLostMonitor = "component";
constexpr const char* processOfLostMonitor = "process";
constexpr const char* pidOfLostMonitor = "pid";
constexpr const char* userOfLostMonitor = "user";
constexpr const char* faultsOfLostMonitor = "faults";
constexpr const char* worstOfLostMonitor = "worst";

constexpr double mostNumber = std::numeric_limits<uint32_t>::max();

void readMonitor(ConfigTable& table, LostMonitorMap& monitors)
{
    const auto number = [&table](const char* name) {
        return static_cast<uint32_t>(table.number(name, 0, mostNumber, 0));
    };
    std::string key = table.text(keyOfLostMonitor);
    // An empty name is left out.
    LostMonitor monitor{.process = table.has(processOfLostMonitor)
                                       ? table.text(processOfLostMonitor)
                                       : std::string(),
                        .pid = number(pidOfLostMonitor),
                        .user = number(userOfLostMonitor),
                        .faults = number(faultsOfLostMonitor),
                        .worst = number(worstOfLostMonitor)};
    monitors.insert_or_assign(std::move(key), std::move(monitor));
}

toml::table format(const std::string& key, const LostMonitor& monitor)
{
    toml::table table;
    table.insert(keyOfLostMonitor, key);
    if (!monitor.process.empty())
    {
        table.insert(processOfLostMonitor, monitor.process);
    }
    const auto put = [&table](const char* name, auto value) {
        table.insert(name, static_cast<int64_t>(value));
    };
    put(pidOfLostMonitor, monitor.pid);
    put(userOfLostMonitor, monitor.user);
    put(faultsOfLostMonitor, monitor.faults);
    put(worstOfLostMonitor, monitor.worst);
    return table;
}

} // namespace

LostMonitorMap parseLostMonitors(std::string_view text, const std::string& name)
{
    LostMonitorMap monitors;
    forEachTable(services::parseToml(text, name), name, tableOfLostMonitor,
                 [&monitors](ConfigTable& table) {
                     readMonitor(table, monitors);
                 });
    return monitors;
}

std::string formatLostMonitors(const LostMonitorMap& monitors)
{
    toml::array tables;
    for (const auto& [key, monitor] : monitors)
    {
        tables.push_back(format(key, monitor));
    }
    toml::table root;
    insertTables(root, tableOfLostMonitor, std::move(tables));
    return formatToml(root);
}

} // namespace healthintf::healthmgr
