#pragma once

/** @file How full a filesystem is. */

#include <string>
#include <utility>

namespace healthintf::hostmon
{

/** How much of a filesystem is used, in percent of what ordinary users may
 *  use, as df shows it.
 *
 *  @throws std::runtime_error when the folder cannot be asked */
double usedPercent(const std::string& folder);

/** The folder that the filesystem of a folder is mounted on.
 *
 *  @throws std::runtime_error when the folder cannot be asked */
std::string mountPointOf(const std::string& folder);

/** Reads one filesystem again and again. The first reading that succeeds tells
 *  where it is mounted; when it no longer is, the figures would be those of the
 *  filesystem below. */
class MountedFilesystem
{
  public:
    /** @param[in] watched a folder on it
     *  @param[in] expected where it must be mounted; empty for where it is
     *             found */
    explicit MountedFilesystem(std::string watched, std::string expected = "") :
        folder(std::move(watched)), mountPoint(std::move(expected))
    {}

    /** As usedPercent() of the folder.
     *
     *  @throws std::runtime_error also when it is not mounted */
    double usedPercent();

  private:
    std::string folder;
    std::string mountPoint;
};

} // namespace healthintf::hostmon
