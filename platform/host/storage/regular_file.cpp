// SPDX-License-Identifier: Apache-2.0
#include "regular_file.hpp"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace healthintf::host
{
namespace
{

[[noreturn]] void throwReadError(int code, const std::string& what)
{
    throw std::system_error(code, std::generic_category(), what);
}

} // namespace

FileDescriptor openRegularFile(const std::filesystem::path& file, int flags,
                               const std::string& what)
{
    FileDescriptor opened(
        open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags));
    struct stat found
    {};
    if (opened.get() < 0 || fstat(opened.get(), &found) != 0)
    {
        throwReadError(errno, what);
    }
    if (!S_ISREG(found.st_mode))
    {
        throwReadError(S_ISDIR(found.st_mode) ? EISDIR : ENOTSUP, what);
    }
    return opened;
}

std::string readToEnd(const FileDescriptor& opened, std::size_t most,
                      const std::string& what)
{
    std::string content;
    std::array<char, 16384> part{};
    while (true)
    {
        const ssize_t size = ::read(opened.get(), part.data(), part.size());
        if (size == 0)
        {
            return content;
        }
        if (size < 0 && errno != EINTR)
        {
            throwReadError(errno, what);
        }
        content.append(part.data(), std::max<ssize_t>(size, 0));
        if (content.size() > most)
        {
            throwReadError(EFBIG, what);
        }
    }
}

} // namespace healthintf::host
