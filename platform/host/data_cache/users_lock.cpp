#include "users_lock.hpp"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace healthintf::host
{
namespace
{

FileDescriptor openFile(const std::filesystem::path& file)
{
    FileDescriptor opened(
        open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0664));
    if (opened.get() < 0)
    {
        throw std::system_error(errno, std::generic_category(), file.string());
    }
    return opened;
}

/** Sets a lock that belongs to the open file and not to the process, so that
 *  changing it to another kind never lets go of it in between.
 *
 *  @return whether the lock is held; false only without waiting */
bool lock(const FileDescriptor& file, short type, bool wait)
{
    struct flock whole
    {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    while (fcntl(file.get(), wait ? F_OFD_SETLKW : F_OFD_SETLK, &whole) != 0)
    {
        if (!wait && (errno == EAGAIN || errno == EACCES))
        {
            return false;
        }
        if (errno != EINTR)
        {
            throw std::system_error(errno, std::generic_category(),
                                    "unable to lock the data cache");
        }
    }
    return true;
}

} // namespace

UsersLock::UsersLock(const std::filesystem::path& path) :
    file(openFile(path)), first(lock(file, F_WRLCK, false))
{
    if (!first)
    {
        lock(file, F_RDLCK, true);
    }
}

void UsersLock::letOthersIn()
{
    lock(file, F_RDLCK, true);
    first = false;
}

} // namespace healthintf::host
