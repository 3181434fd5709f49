// SPDX-License-Identifier: Apache-2.0
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

/** The permissions of a store's files, before the umask. */
inline constexpr mode_t storeFileMode = 0664;

/** Makes a folder, and those above it, when it is missing.
 *
 *  @return the folder
 *  @throws std::filesystem::filesystem_error when that is not possible */
std::filesystem::path makeFolder(const std::filesystem::path& folder);

/** Opens a file for reading and writing; creates it when it is missing.
 *
 *  @throws std::system_error when it cannot be opened */
PLATFORM_API FileDescriptor openFile(const std::filesystem::path& file);

/** Allocates a file's blocks on the disk up to a size.
 *
 *  @throws std::system_error when the filesystem has too few */
PLATFORM_API void allocateBlocks(int file, std::size_t size,
                                 const std::filesystem::path& name);

/** Writes a folder's list of files to the disk, so that new names survive a
 *  loss of power.
 *
 *  @throws std::system_error when that is not possible */
PLATFORM_API void syncFolder(const std::filesystem::path& folder);

/** Checks that a name is still that of an open file: somebody may have removed
 *  or replaced the file.
 *
 *  @return the file's status; nullopt when the name is not the file's any
 *          more */
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

/** How many files of one name are kept aside. */
inline constexpr int mostSetAside = 10;

/** Renames a store's damaged file. Earlier files that were set aside stay; once
 *  mostSetAside of them exist, the last one is replaced.
 *
 *  @return its new path */
PLATFORM_API std::filesystem::path setAside(const std::filesystem::path& file);

/** Sets a store's damaged file aside, as setAside(), and puts a new one in its
 *  place. At each moment one of them is in the place, so that a crash loses
 *  neither; on filesystems without hard links the place is empty for a moment.
 *
 *  @param[in] made the new file, in the same folder
 *  @return the damaged file's new path */
PLATFORM_API std::filesystem::path
replaceSettingAside(const std::filesystem::path& file,
                    const std::filesystem::path& made);

} // namespace healthintf::host
