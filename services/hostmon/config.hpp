// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The configuration of hostmon: a TOML file. */

#include "limits.hpp"
#include "subject.hpp"

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::hostmon
{

/** What one table of the configuration watches. */
struct WatchConfig
{
    Subject subject;
    Limits limits;
    /** The key of the component that gets the faults. */
    std::string component;
};

struct Config
{
    /** Time between two readings. */
    std::chrono::microseconds interval{};
    /** How long a reading may take before its source counts as blocked. */
    std::chrono::microseconds timeout{};
    std::vector<WatchConfig> watches;
};

/** Reads a configuration.
 *
 *  @param[in] text the file's content
 *  @param[in] name the file's name, for errors
 *  @throws services::ConfigError */
Config parseConfig(std::string_view text, const std::string& name);

/** Reads a configuration file.
 *
 *  @throws services::ConfigError */
Config loadConfig(const std::filesystem::path& file);

} // namespace healthintf::hostmon
