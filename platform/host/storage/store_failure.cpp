// SPDX-License-Identifier: Apache-2.0
#include "store_failure.hpp"

#include <cerrno>
#include <new>
#include <system_error>

namespace healthintf::host
{

int getErrorNumber(const std::exception& failure) noexcept
{
    if (const auto* system = dynamic_cast<const std::system_error*>(&failure))
    {
        return system->code().value();
    }
    return dynamic_cast<const std::bad_alloc*>(&failure) != nullptr ? ENOMEM
                                                                    : EIO;
}

std::string folderRemedy(int code, const std::string& variable)
{
    switch (code)
    {
        case ENOSPC:
            return "its filesystem is full: free some space or set " +
                   variable + " to another";
        case EACCES:
        case EPERM:
        case EROFS:
            return "let this user write to the folder, or set " + variable +
                   " to another";
        default:
            return "see the folder's files and permissions";
    }
}

} // namespace healthintf::host
