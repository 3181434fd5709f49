#pragma once

/** @file What an operator asks of the host platform when something is wrong.
 *  Looking changes nothing. */

#include <platform/api.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Files of the installation as a program that starts now would read them. */
struct InstalledFiles
{
    /** Where they are looked for, in this order. */
    std::vector<std::filesystem::path> folders;
    /** Those of which at least something can be used. */
    std::size_t usable = 0;
    /** What was left out of them, and why. */
    std::vector<std::string> problems;
};

/** Reads the message registries anew. */
PLATFORM_API InstalledFiles inspectRegistries();

/** Reads the event table anew. */
PLATFORM_API InstalledFiles inspectEventTable();

/** How much of the data cache is taken. */
struct CacheSpace
{
    std::size_t usedBytes = 0;
    std::size_t capacity = 0;
    /** The most that have read at the same time so far. */
    unsigned int readers = 0;
    unsigned int maxReaders = 0;
};

/** Opens the data cache and looks how full it is.
 *
 *  @param[out] space what was found
 *  @return 0, or the data cache's error number */
PLATFORM_API int measureCache(CacheSpace& space);

} // namespace healthintf::host
