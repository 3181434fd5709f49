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

/** Lets records of this process stand back: from now on none takes the place
 *  of another living process's record. For the health manager, whose nodes are
 *  there only as long as no daemon has them. */
PLATFORM_API void giveWayToOthers();

/** Whose nodes and faults there are.
 *
 *  @param[out] owners replaced by the owners found
 *  @return 0, or the data cache's error number */
PLATFORM_API int listOwners(std::set<ProcessIdentity>& owners);

/** Who a health record belongs to, and what it says. */
struct HealthRecord
{
    ProcessIdentity owner;
    uint32_t health = 0;
};

/** The health record at @p key, if there is one that can be read. */
PLATFORM_API std::optional<HealthRecord>
findHealthRecord(const std::string& key);

/** Removes every health record and fault entry of one process. Entries of the
 *  log stay: they mirror what lasts, whoever has written them.
 *
 *  @param[in] owner the process, which must be dead
 *  @param[out] keys replaced by the keys whose health records were removed
 *  @return 0, or the data cache's error number; nothing is removed then */
PLATFORM_API int withdrawRecords(const ProcessIdentity& owner,
                                 std::vector<std::string>& keys);

} // namespace healthintf::host
