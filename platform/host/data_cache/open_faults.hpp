// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the fault entries of all living processes, for whoever follows
 *  them. */

#include "process_identity.hpp"

#include <platform/api.h>
#include <platform/data_abstraction/fault_entry.hpp>

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace healthintf::host
{

/** A fault entry of a living process. */
struct OpenFault
{
    FaultEntryProperties properties;
    /** When the entry was made, by the clock CLOCK_MONOTONIC. */
    std::chrono::nanoseconds made{};
};

/** What a living process has in the data cache. */
struct Reporter
{
    ProcessIdentity process;
    /** The process's name by its own account, safe to print; empty when it is
     *  not known. */
    std::string name;
    /** The user who owns the process's segment. */
    uid_t user = 0;
    /** Whether its records are placeholders, as those of healthmgr. */
    bool isPlaceholder = false;
    /** The keys of its health nodes. */
    std::set<std::string> nodes;
    /** Its fault entries by their object paths; a record with another path is
     *  left out. */
    std::map<std::string, OpenFault> faults;
};

/** The living processes that have a segment. Those whose records have not
 *  changed are not read again. Not thread-safe. */
class PLATFORM_API OpenFaults
{
  public:
    /** Reads what has changed.
     *
     *  @return 0, or the data cache's error number; then the processes are
     *          those of the last call */
    int refresh();

    /** The processes by the inode numbers of their segments. */
    const std::map<ino_t, Reporter>& reporters() const
    {
        return known;
    }

  private:
    std::map<ino_t, Reporter> known;
    /** The generation of each known segment. */
    std::map<ino_t, uint64_t> generations;
};

} // namespace healthintf::host
