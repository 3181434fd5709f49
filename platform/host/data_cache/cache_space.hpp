#pragma once

/** @file Whether the data cache is in use, and how full it is. Looking changes
 *  nothing. */

#include "process_identity.hpp"

#include <platform/api.h>

#include <cstdint>
#include <filesystem>
#include <optional>

namespace healthintf::host
{

/** What somebody who only wants to read finds. */
enum class CacheUse
{
    /** No living process has records, or there is no data cache. */
    unused,
    /** A living process has a segment. */
    open,
    /** It is there, and this user may not read it. */
    forbidden,
};

/** Looks at the data cache of a folder. */
PLATFORM_API CacheUse cacheUse(const std::filesystem::path& folder);

/** The space that the segments of living processes take, as they say. */
struct CacheSpace
{
    /** How many processes have a segment. */
    std::size_t segments = 0;
    /** Bytes in use in all of them. */
    uint64_t usedBytes = 0;
    /** Of the segment with the largest share of its capacity in use: the bytes
     *  in use, how many it may grow to, and whose it is. */
    uint64_t fullestUsedBytes = 0;
    uint64_t fullestCapacity = 0;
    ProcessIdentity fullest;
};

/** Measures the segments of this user's data cache.
 *
 *  @return nothing when it cannot be read, which is logged */
PLATFORM_API std::optional<CacheSpace> measureCache();

} // namespace healthintf::host
