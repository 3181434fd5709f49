// SPDX-License-Identifier: Apache-2.0
#include "living_owner.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace healthintf::host
{

namespace
{

struct flock makeWholeFileLock(short type)
{
    struct flock whole
    {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    return whole;
}

} // namespace

int lockAsOwner(int file)
{
    auto lock = makeWholeFileLock(F_WRLCK);
    return fcntl(file, F_OFD_SETLK, &lock) == 0 ? 0 : errno;
}

bool isOwnerAlive(int file)
{
    // Asks whether a read lock would be refused. Only a process that may write
    // the file, its owner, can hold the write lock that refuses it.
    auto lock = makeWholeFileLock(F_RDLCK);
    return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_WRLCK;
}

} // namespace healthintf::host
