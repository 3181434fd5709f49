// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How full a filesystem is. */

#include <string>
#include <utility>

namespace healthintf::hostmon
{

/** Reads how much of a filesystem is used, in percent of what ordinary users
 *  may use, as df shows it.
 *
 *  @throws std::runtime_error when the folder cannot be examined */
double readUsedPercent(const std::string& folder);

/** Finds where the filesystem of a folder is mounted.
 *
 *  @throws std::runtime_error when the folder cannot be examined */
std::string findMountPoint(const std::string& folder);

/** Reads one filesystem repeatedly. The first successful reading remembers
 *  where it is mounted. Once it is unmounted, readings fail: the numbers would
 *  be those of the filesystem that holds the mount point. */
class MountedFilesystem
{
  public:
    /** @param[in] watched a folder on it
     *  @param[in] expected where it must be mounted; empty to take the mount
     *  point that the first reading finds */
    explicit MountedFilesystem(std::string watched, std::string expected = "") :
        folder(std::move(watched)), mountPoint(std::move(expected))
    {}

    /** Reads how much of it is used, as readUsedPercent().
     *
     *  @throws std::runtime_error also when it is no longer mounted */
    double readUsedPercent();

    /** Where it must be mounted; empty until that is known. */
    const std::string& expectedMountPoint() const
    {
        return mountPoint;
    }

  private:
    std::string folder;
    std::string mountPoint;
};

} // namespace healthintf::hostmon
