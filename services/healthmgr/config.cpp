// SPDX-License-Identifier: Apache-2.0
#include "config.hpp"

#include "../common/config_file.hpp"
#include "../common/config_table.hpp"
#include "node_key.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <algorithm>

namespace healthintf::healthmgr
{

namespace fs = std::filesystem;

bool Config::reportsLostMonitorOf(const std::string& key) const
{
    return reportsLostMonitors &&
           std::ranges::any_of(lostMonitorKeys, [&](const std::string& above) {
               return key == above || key.starts_with(above + "/");
           });
}

Config parseConfig(std::string_view text, const std::string& name)
{
    const toml::table root = services::parseToml(text, name);
    services::ConfigTable table(root, name, "");
    Config config;
    config.reportsLostMonitors =
        table.flag("report-lost-monitors", config.reportsLostMonitors);
    constexpr const char* keys = "lost-monitor-components";
    config.lostMonitorKeys = table.texts(keys, {names::root});
    for (const std::string& key : config.lostMonitorKeys)
    {
        if (const std::string fault = explainInvalidKey(key); !fault.empty())
        {
            std::string cause = key;
            cause += " is no component: ";
            table.fail(keys, cause.append(fault));
        }
    }
    table.finish();
    return config;
}

Config loadConfig(const fs::path& file, const fs::path& usual)
{
    const auto [text, name] = services::readConfig(file, usual);
    return parseConfig(text, name);
}

} // namespace healthintf::healthmgr
