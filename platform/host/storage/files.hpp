#pragma once

/** @file The files of a store. */

#include "file_descriptor.hpp"

#include <platform/api.h>

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <optional>

namespace healthintf::host
{

/** Who may use a store's files, less the umask. */
inline constexpr mode_t storeFileMode = 0664;

/** Makes a folder, and those above it, when it is not there.
 *
 *  @return the folder
 *  @throws std::filesystem::filesystem_error when that is not possible */
std::filesystem::path madeFolder(const std::filesystem::path& folder);

/** Opens a file for reading and writing, and makes it when it is not there.
 *
 *  @throws std::system_error when it cannot be opened */
PLATFORM_API FileDescriptor openFile(const std::filesystem::path& file);

/** Gives a file all its blocks up to a size.
 *
 *  @throws std::system_error when the filesystem has not so many */
PLATFORM_API void allocateBlocks(int file, std::size_t size,
                                 const std::filesystem::path& name);

/** Makes what a folder lists as lasting as the content of its files.
 *
 *  @throws std::system_error when that is not possible */
PLATFORM_API void syncFolder(const std::filesystem::path& folder);

/** Whether a name is still that of an open file: somebody may have removed it,
 *  or put another file in its place.
 *
 *  @return what is known of the file; nothing when it has the name no longer */
inline std::optional<struct stat> namedFile(int file,
                                            const std::filesystem::path& name)
{
    struct stat opened
    {};
    struct stat found
    {};
    if (fstat(file, &opened) != 0 || stat(name.c_str(), &found) != 0 ||
        opened.st_dev != found.st_dev || opened.st_ino != found.st_ino)
    {
        return std::nullopt;
    }
    return found;
}

/** How many damaged files of one name are kept. */
inline constexpr int mostSetAside = 10;

/** Renames a store's damaged file. What was set aside before stays, except for
 *  the last of too many.
 *
 *  @return its path now */
PLATFORM_API std::filesystem::path setAside(const std::filesystem::path& file);

} // namespace healthintf::host
