#pragma once

/** @file What the health manager does about processes that died without
 *  removing their records. */

#include "process_identity.hpp"

#include <platform/api.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Lets the records of this process count only where no other process has any.
 *  For the health manager, whose nodes are there as long as no daemon has
 *  them. */
PLATFORM_API void giveWayToOthers();

/** Who a health record belongs to, and what it says. */
struct HealthRecord
{
    ProcessIdentity owner;
    uint32_t health = 0;
};

/** The health record at @p key, if there is one that can be read. */
PLATFORM_API std::optional<HealthRecord>
findHealthRecord(const std::string& key);

/** A node that a process left behind when it died. */
struct LeftNode
{
    std::string key;
    ProcessIdentity owner;
};

/** Removes what dead processes left behind. Nobody reads it any more, but the
 *  parents of their nodes do not know yet that they are gone. */
class Withdrawal
{
  public:
    /** Removes the files that belong to no living process.
     *
     *  @return the nodes in them, each once, also when its file could not be
     *          removed; nothing when the data cache cannot be read, which is
     *          logged */
    PLATFORM_API std::optional<std::vector<LeftNode>> removeTheDead();

  private:
    /** Files whose nodes were told of and that could not be removed. */
    std::set<std::string> unremovable;
};

} // namespace healthintf::host
