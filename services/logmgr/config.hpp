// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The configuration of logmgr: a TOML file. */

#include "history/history_limits.hpp"
#include "sel_records.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace healthintf::logmgr
{

/** What happens to a new event when the log is full. */
enum class Overflow
{
    /** It is refused, and the old entries stay. */
    refuse,
    /** It is stored, and the oldest entry is dropped. */
    wrap,
};

/** The name of an overflow behaviour in the configuration. */
const char* overflowName(Overflow overflow);

struct Config
{
    /** How many entries the log may hold, from 1 to the number of
     *  identifiers. */
    uint16_t capacity = 4096;
    Overflow overflow = Overflow::refuse;
    /** Whether the history of faults is kept. */
    bool keepsHistory = true;
    history::HistoryLimits historyLimits = {};
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

} // namespace healthintf::logmgr
