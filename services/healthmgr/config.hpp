// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The configuration of healthmgr: a TOML file. */

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::healthmgr
{

struct Config
{
    /** Whether a component whose daemon ended without giving it up gets the
     *  fault MonitorLost. */
    bool reportsLostMonitors = true;
    /** The keys whose components, and those below them, get it. */
    std::vector<std::string> lostMonitorKeys;

    /** Whether the component of a key gets the fault. */
    bool reportsLostMonitorOf(const std::string& key) const;
};

/** Reads a configuration; keys that it leaves out have their default values.
 *
 *  @param[in] text the file's content
 *  @param[in] name the file's name, for errors
 *  @throws services::ConfigError */
Config parseConfig(std::string_view text, const std::string& name);

/** Reads a configuration file.
 *
 *  @param[in] file empty for the default file, which need not exist
 *  @param[in] usual the default file
 *  @throws services::ConfigError */
Config loadConfig(const std::filesystem::path& file,
                  const std::filesystem::path& usual);

} // namespace healthintf::healthmgr
