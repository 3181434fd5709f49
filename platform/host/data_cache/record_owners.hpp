#pragma once

/** @file Who the records of the data cache belong to, for those who look. */

#include "process_identity.hpp"

#include <platform/api.h>

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Processes by the object paths of their records. */
using RecordOwners = std::map<std::string, ProcessIdentity>;

/** Finds the owners of all health records.
 *
 *  @param[out] owners replaced by what is found
 *  @return 0, or the data cache's error number */
PLATFORM_API int listNodeOwners(RecordOwners& owners);

/** A living process that has a record. */
struct Claimant
{
    /** The process, as its segment says. */
    ProcessIdentity process;
    /** Whom the segment belongs to, as the kernel says. */
    uid_t user = 0;
};

/** A key with the processes that have a health record of it. */
struct ClaimedKey
{
    std::string key;
    /** Two or more, the first ClaimedKeys::mostClaimants of them. */
    std::vector<Claimant> claimants;
};

/** The keys that more than one living process has a health record of. */
struct ClaimedKeys
{
    static constexpr std::size_t mostKeys = 100;
    static constexpr std::size_t mostClaimants = 8;

    /** How many there are. */
    std::size_t count = 0;
    /** The first mostKeys of them, by their names. */
    std::vector<ClaimedKey> keys;
};

/** Finds the keys that more than one living process has a health record of.
 *  Placeholders do not count: they are there to give way.
 *
 *  @param[out] claimed replaced by what is found
 *  @return 0, or the data cache's error number */
PLATFORM_API int listClaimedKeys(ClaimedKeys& claimed);

} // namespace healthintf::host
