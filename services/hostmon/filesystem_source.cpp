#include "filesystem_source.hpp"

#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace healthintf::hostmon
{

double usedPercent(const std::string& folder)
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
