// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Removes the segments of processes that died without removing their
 *  records; for healthmgr. */

#include "process_identity.hpp"

#include <platform/api.h>

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Makes the records of this process placeholders, which count only at paths
 *  where no other process has a record. For healthmgr, which hosts a node only
 *  as long as no daemon does. */
PLATFORM_API void giveWayToOthers();

/** A health record and its owner. */
struct HealthRecord
{
    ProcessIdentity owner;
    uint32_t health = 0;
};

/** The health record at @p key; nothing when there is none or it cannot be
 *  read. */
PLATFORM_API std::optional<HealthRecord>
findHealthRecord(const std::string& key);

/** A node of a process that died without removing it. */
struct LeftNode
{
    std::string key;
    ProcessIdentity owner;
    /** The name of the segment that it is in. */
    std::string segment;
    /** The name of the process by its own account, safe to print; empty when it
     *  is not known. */
    std::string process;
    /** The user who owns the segment's file. */
    uid_t user = 0;
    /** Whether its record was a placeholder. */
    bool isPlaceholder = false;
    /** How many faults it had, hidden ones among them. */
    std::size_t faults = 0;
    /** The health by the worst fault that was not hidden; 0 when there was
     *  none. */
    uint32_t worst = 0;
};

/** Removes the segments of dead processes. Readers ignore these already, but
 *  the parents of their nodes must be told that the nodes are gone. */
class Withdrawal
{
  public:
    /** Removes the files that belong to no living process. A file with nodes
     *  stays until noteAnnounced(): if this process ended before, another one
     *  must find the nodes.
     *
     *  @return the nodes in them; a node is returned only once. Nothing when
     *          the data cache cannot be read, which is logged */
    PLATFORM_API std::optional<std::vector<LeftNode>> removeTheDead();

    /** Notes that the parents were told of all the nodes that one call of
     *  removeTheDead() returned: the next call may remove their files. */
    PLATFORM_API void noteAnnounced(const std::vector<LeftNode>& nodes);

  private:
    /** The files that are still there, and whether the nodes in them were
     *  announced. The nodes were returned already. */
    std::map<std::string, bool> left;
};

} // namespace healthintf::host
