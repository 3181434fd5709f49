// SPDX-License-Identifier: Apache-2.0
#include "cache_space.hpp"

#include "../directories.hpp"
#include "data_cache.hpp"
#include "segment_folder.hpp"

#include <algorithm>
#include <system_error>

namespace healthintf::host
{
namespace
{

/** The share of its capacity that a segment uses. Its owner may have made up
 *  both numbers. */
double usedShare(uint64_t used, uint64_t capacity)
{
    return capacity == 0
               ? 0
               : static_cast<double>(used) / static_cast<double>(capacity);
}

} // namespace

CacheUse cacheUse(const std::filesystem::path& folder)
{
    auto use = CacheUse::unused;
    try
    {
        forEachLivingSegment(folder, [&use](const SegmentReader&) {
            use = CacheUse::open;
        });
    }
    catch (const std::system_error&)
    {
        return CacheUse::forbidden;
    }
    return use;
}

std::optional<CacheSpace> measureCache()
{
    CacheSpace space;
    const int result = useCache([&space] {
        forEachLivingSegment(
            dataCacheFolder(), [&space](const SegmentReader& segment) {
                const uint64_t used =
                    std::min(segment.usedBytes(), segment.capacity());
                ++space.segments;
                space.usedBytes += used;
                if (usedShare(used, segment.capacity()) >=
                    usedShare(space.fullestUsedBytes, space.fullestCapacity))
                {
                    space.fullestUsedBytes = used;
                    space.fullestCapacity = segment.capacity();
                    space.fullest = segment.owner();
                }
            });
        return 0;
    });
    return result == 0 ? std::optional(space) : std::nullopt;
}

} // namespace healthintf::host
