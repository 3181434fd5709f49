// SPDX-License-Identifier: Apache-2.0
#include "filesystem_source.hpp"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace healthintf::hostmon
{

namespace
{

/** Whether a filesystem is mounted on a folder. */
bool isMountPoint(const std::filesystem::path& folder)
{
    struct statx status
    {};
    if (statx(AT_FDCWD, folder.c_str(), AT_NO_AUTOMOUNT, STATX_TYPE, &status) !=
        0)
    {
        throw std::runtime_error("unable to ask for " + folder.string() + ": " +
                                 std::strerror(errno));
    }
    return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

} // namespace

std::string findMountPoint(const std::string& folder)
{
    std::error_code error;
    std::filesystem::path at = std::filesystem::canonical(folder, error);
    if (error)
    {
        throw std::runtime_error("unable to ask for " + folder + ": " +
                                 error.message());
    }
    while (at.has_relative_path() && !isMountPoint(at))
    {
        at = at.parent_path();
    }
    return at;
}

double MountedFilesystem::readUsedPercent()
{
    const std::string found = findMountPoint(folder);
    if (mountPoint.empty())
    {
        mountPoint = found;
    }
    // Another filesystem may have been mounted below the mount point since, so
    // the found mount point need not be the remembered one.
    if (!isMountPoint(mountPoint) && mountPoint != "/")
    {
        throw std::runtime_error(mountPoint + " is not mounted");
    }
    return hostmon::readUsedPercent(folder);
}

double readUsedPercent(const std::string& folder)
{
    struct statvfs status
    {};
    if (statvfs(folder.c_str(), &status) != 0)
    {
        throw std::runtime_error("unable to ask the filesystem of " + folder +
                                 ": " + std::strerror(errno));
    }
    const auto used = static_cast<double>(status.f_blocks - status.f_bfree);
    const double usable = used + static_cast<double>(status.f_bavail);
    if (usable <= 0)
    {
        throw std::runtime_error("the filesystem of " + folder +
                                 " has no size");
    }
    return 100 * used / usable;
}

} // namespace healthintf::hostmon
