// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Tells whether the data cache is in use, and how full it is, without
 *  changing it. */

#include "process_identity.hpp"

#include <platform/api.h>

#include <cstdint>
#include <filesystem>
#include <optional>

namespace healthintf::host
{

/** The state of the data cache for a reader. */
enum class CacheUse
{
    /** No living process has records, or there is no data cache. */
    unused,
    /** A living process has a segment. */
    open,
    /** This user may not read it. */
    forbidden,
};

/** Finds the state of the data cache in a folder. */
PLATFORM_API CacheUse cacheUse(const std::filesystem::path& folder);

/** The space that the segments of living processes take, by their own
 *  headers. */
struct CacheSpace
{
    /** How many processes have a segment. */
    std::size_t segments = 0;
    /** Bytes in use in all of them. */
    uint64_t usedBytes = 0;
    /** The segment that uses the largest share of its capacity: the bytes in
     *  use, the capacity and the owner. */
    uint64_t fullestUsedBytes = 0;
    uint64_t fullestCapacity = 0;
    ProcessIdentity fullest;
};

/** Measures the segments of this user's data cache.
 *
 *  @return nothing when it cannot be read, which is logged */
PLATFORM_API std::optional<CacheSpace> measureCache();

} // namespace healthintf::host
