#pragma once

/** @file The file of the System Event Log, and how it is found sound. */

#include "lmdb.hpp"
#include "storage/damaged_file.hpp"

#include <cstddef>
#include <exception>
#include <filesystem>
#include <functional>

namespace healthintf::logmgr
{

using host::DamagedFile;

/** Whether a failure means that the file is damaged. */
bool isDamage(const std::exception& failure);

/** Tries what may end the process: LMDB believes the page numbers in a file.
 *
 *  @param[in] work runs in a process of its own, which nothing remains of; what
 *             it throws is not looked at
 *  @return whether that ended as by a page that is not there */
bool endsItsProcess(const std::function<void()>& work);

/** Makes a folder that is there after a loss of power too.
 *
 *  @return the folder
 *  @throws std::system_error when there can be none */
std::filesystem::path lastingFolder(const std::filesystem::path& folder);

/** Whether the file of a folder is there and has no bytes. */
bool isEmptyLogFile(const std::filesystem::path& folder);

/** Opens the file of a folder for one thread of one process, and makes it when
 *  it is not there.
 *
 *  @param[in] mapSize how many bytes it may grow to
 *  @throws std::exception when it cannot be opened, and DamagedFile when pages
 *          of it are missing */
EnvironmentPtr openLogFile(const std::filesystem::path& folder,
                           std::size_t mapSize);

/** Gives the file its blocks up to a size.
 *
 *  @throws std::system_error when the filesystem has not so many */
void allocateLogFile(MDB_env* environment, std::size_t size,
                     const std::filesystem::path& folder);

/** Whether the file of a folder is the one that is open: somebody may have
 *  removed it, or put another in its place. */
bool isLogFileInPlace(MDB_env* environment,
                      const std::filesystem::path& folder);

/** Writes the file of a folder anew, with all that is open. One that is there
 *  is set aside. What is open is not the folder's file then.
 *
 *  @throws std::exception when that is not possible */
void writeLogFileAnew(MDB_env* environment,
                      const std::filesystem::path& folder);

/** Renames the file of a folder that nobody has open.
 *
 *  @return its path now */
std::filesystem::path setLogAside(const std::filesystem::path& folder);

} // namespace healthintf::logmgr
