// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The components whose daemons ended without giving them up. */

#include "config.hpp"
#include "data_cache/withdrawal.hpp"
#include "kept_file.hpp"
#include "lost_monitor_file.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** The lost monitors by the keys of their components. They are also in a file
 *  that lasts until the next boot, for the next healthmgr. */
class LostMonitors
{
  public:
    /** How many components are remembered, in all and of the daemons of one
     *  user: whoever may write to the data cache may pretend to be such a
     *  daemon. */
    static constexpr std::size_t most = 1024;
    static constexpr std::size_t mostOfOneUser = 256;

    /** Remembers nothing, and keeps no file. */
    LostMonitors() = default;

    /** Reads the file that an earlier healthmgr has left. A file that cannot be
     *  read counts as an empty one, which is logged; a damaged one is renamed.
     *
     *  @param[in] path in a folder that healthmgr may write to
     *  @param[in] config which components to remember */
    LostMonitors(std::filesystem::path path, Config config);

    /** Remembers the components among the nodes that dead processes have left,
     *  the worst first.
     *
     *  @param[in] nodes nodes that no living process has
     *  @return the keys of those that are remembered */
    std::set<std::string> add(std::vector<host::LeftNode> nodes);

    /** @return whether the component was among them */
    bool remove(const std::string& key);

    /** @return null when the component is not among them */
    const LostMonitor* find(const std::string& key) const;

    const LostMonitorMap& all() const
    {
        return monitors;
    }

    /** Writes the changes to the file. A failure is logged, and the next call
     *  tries it again. */
    void save();

  private:
    bool hasRoom(uint32_t user) const;

    KeptFile file;
    Config config;
    LostMonitorMap monitors;
};

} // namespace healthintf::healthmgr
