#pragma once

/** @file Whether the data cache is in use, found out from outside: to open it
 *  would make it. */

#include <platform/api.h>

#include <filesystem>

namespace healthintf::host
{

/** What somebody who only wants to read finds. */
enum class CacheUse
{
    /** Nobody has it open, so nothing in it is true; or there is none. */
    unused,
    /** It is in use, and this process may join. */
    open,
    /** It is there, and this process may not open it. */
    forbidden,
};

/** The folder of this user's data cache.
 *
 *  @throws std::runtime_error when there is none for this user */
PLATFORM_API std::filesystem::path dataCacheFolder();

/** Looks at the data cache of a folder and makes nothing. */
PLATFORM_API CacheUse cacheUse(const std::filesystem::path& folder);

} // namespace healthintf::host
