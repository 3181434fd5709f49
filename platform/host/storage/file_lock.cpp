// SPDX-License-Identifier: Apache-2.0
#include "file_lock.hpp"

#include "files.hpp"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace healthintf::host
{
namespace
{

short lockType(LockFile::Kind kind)
{
    switch (kind)
    {
        case LockFile::Kind::shared:
            return F_RDLCK;
        case LockFile::Kind::exclusive:
            return F_WRLCK;
        case LockFile::Kind::none:
            break;
    }
    return F_UNLCK;
}

/** @return 0 or an errno */
int setLock(const FileDescriptor& file, LockFile::Kind kind, int command)
{
    struct flock whole
    {};
    whole.l_type = lockType(kind);
    whole.l_whence = SEEK_SET;
    while (fcntl(file.get(), command, &whole) != 0)
    {
        if (errno != EINTR)
        {
            return errno;
        }
    }
    return 0;
}

[[noreturn]] void failToLock(int code, const std::filesystem::path& name)
{
    throw std::system_error(code, std::generic_category(),
                            "unable to lock " + name.string());
}

} // namespace

LockFile::LockFile(const std::filesystem::path& path) :
    name(path), file(openFile(path))
{}

void LockFile::lock(Kind kind)
{
    if (const int result = setLock(file, kind, F_OFD_SETLKW); result != 0)
    {
        failToLock(result, name);
    }
}

bool LockFile::tryLock(Kind kind)
{
    const int result = setLock(file, kind, F_OFD_SETLK);
    if (result != 0 && result != EAGAIN && result != EACCES)
    {
        failToLock(result, name);
    }
    return result == 0;
}

} // namespace healthintf::host
