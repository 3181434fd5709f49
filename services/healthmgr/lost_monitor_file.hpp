// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The file in which healthmgr keeps the lost monitors: a TOML file with
 *  a table for each component. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace healthintf::healthmgr
{

/** A process that watched a component and ended without giving it up. */
struct LostMonitor
{
    /** Its name, safe to print; empty when it is not known. */
    std::string process;
    uint32_t pid = 0;
    /** The user who owned its file in the data cache. */
    uint32_t user = 0;
    /** How many faults of the component it held. */
    std::size_t faults = 0;
    /** The health by the worst of them that was not hidden; 0 when there was
     *  none. */
    uint32_t worst = 0;

    friend bool operator==(const LostMonitor&, const LostMonitor&) = default;
};

/** Lost monitors by the keys of their components. */
using LostMonitorMap = std::map<std::string, LostMonitor>;

/** Reads the content of the file.
 *
 *  @param[in] name the file's name, for errors
 *  @throws services::ConfigError when it is damaged */
LostMonitorMap parseLostMonitors(std::string_view text,
                                 const std::string& name);

/** The file's content. */
std::string formatLostMonitors(const LostMonitorMap& monitors);

} // namespace healthintf::healthmgr
