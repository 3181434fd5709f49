// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds the processes that own the records of the data cache. */

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
    /** The process, by its own segment. */
    ProcessIdentity process;
    /** The user who owns the segment's file. */
    uid_t user = 0;
};

/** A key and the processes that have a health record of it. */
struct ClaimedKey
{
    std::string key;
    /** Two or more processes, at most ClaimedKeys::mostClaimants. */
    std::vector<Claimant> claimants;
};

/** The keys that more than one living process has a health record of. */
struct ClaimedKeys
{
    static constexpr std::size_t mostKeys = 100;
    static constexpr std::size_t mostClaimants = 8;

    /** How many such keys there are. */
    std::size_t count = 0;
    /** The first mostKeys of them in the order of their names. */
    std::vector<ClaimedKey> keys;
};

/** Finds the keys that more than one living process has a health record of.
 *  Placeholders do not count, because they yield to any other record.
 *
 *  @param[out] claimed replaced by what is found
 *  @return 0, or the data cache's error number */
PLATFORM_API int listClaimedKeys(ClaimedKeys& claimed);

} // namespace healthintf::host
