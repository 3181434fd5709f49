// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Removes the segments of processes that died without removing their
 *  records; for healthmgr. */

#include "process_identity.hpp"

#include <platform/api.h>

#include <optional>
#include <set>
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
};

/** Removes the segments of dead processes. Readers ignore these already, but
 *  the parents of their nodes must be told that the nodes are gone. */
class Withdrawal
{
  public:
    /** Removes the files that belong to no living process.
     *
     *  @return the nodes in them; a node is returned only once, also when its
     *          file cannot be removed. Nothing when the data cache cannot be
     *          read, which is logged */
    PLATFORM_API std::optional<std::vector<LeftNode>> removeTheDead();

  private:
    /** Files that could not be removed, and whose nodes were returned
     *  already. */
    std::set<std::string> unremovable;
};

} // namespace healthintf::host
