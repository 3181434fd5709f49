// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Opens, checks and replaces the file of the System Event Log. */

#include "lmdb.hpp"
#include "storage/damaged_file.hpp"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>

namespace healthintf::logmgr
{

using host::DamagedFile;

/** Whether a failure means that the file is damaged. */
bool isDamage(const std::exception& failure);

/** Tries in a child process what may crash: LMDB does not check the page
 *  numbers in a file.
 *
 *  @param[in] work runs in the child process; exceptions that it throws are
 *  ignored
 *  @return whether the child process crashed */
bool crashesProcess(const std::function<void()>& work);

/** Makes a folder, and those above it, and writes them to the disk.
 *
 *  @return the folder
 *  @throws std::system_error when that is not possible */
std::filesystem::path makeDurableFolder(const std::filesystem::path& folder);

/** Whether the folder's file exists and has no bytes. */
bool isEmptyLogFile(const std::filesystem::path& folder);

/** Opens the folder's file, or makes it when it is missing. Only one thread of
 *  one process may have it open.
 *
 *  @param[in] mapSize how many bytes it may grow to
 *  @throws std::exception when it cannot be opened, and DamagedFile when pages
 *          of it are missing */
EnvironmentPtr openLogFile(const std::filesystem::path& folder,
                           std::size_t mapSize);

/** Allocates the file's blocks on the disk up to a size.
 *
 *  @throws std::system_error when the filesystem has too few */
void allocateLogFile(MDB_env* environment, std::size_t size,
                     const std::filesystem::path& folder);

/** Whether the folder's file is the open one: somebody may have removed or
 *  replaced it. */
bool isLogFileInPlace(MDB_env* environment,
                      const std::filesystem::path& folder);

/** Writes what is open to a new file of the folder. An existing file is set
 *  aside. Afterwards the open file is no longer the folder's, and the caller
 *  opens the new one.
 *
 *  @throws std::exception when that is not possible */
void rewriteLogFile(MDB_env* environment, const std::filesystem::path& folder);

/** When the open file was last written to, by whatever process, in nanoseconds.
 *
 *  @throws std::system_error when that cannot be read */
int64_t readWriteTime(MDB_env* environment);

/** Removes the file that a process was writing when it was killed, or puts it
 * in the place of a missing one, whose content it may have.
 *
 *  @return whether it is in that place now; it may be incomplete */
bool settleUnfinishedFile(const std::filesystem::path& folder);

/** Copies the entries of a damaged file, as far as they can be read, to a new
 *  file in its place, and sets the damaged one aside. Afterwards the open file
 * is no longer the folder's, and the caller opens the new one.
 *
 *  @param[in] table the table of the entries
 *  @param[in] mapSize how many bytes the new file may grow to
 *  @return the damaged file's new path
 *  @throws std::exception when an entry cannot be read or written; nothing is
 *          changed then */
std::filesystem::path rescueLogFile(MDB_env* environment, MDB_dbi table,
                                    const std::filesystem::path& folder,
                                    std::size_t mapSize);

/** Renames the folder's file, which nobody may have open.
 *
 *  @return its new path */
std::filesystem::path setLogAside(const std::filesystem::path& folder);

} // namespace healthintf::logmgr
