#include "users_lock.hpp"

namespace healthintf::host
{

UsersLock::UsersLock(const std::filesystem::path& path) :
    file(path), first(file.tryLock(LockFile::Kind::exclusive))
{
    if (!first)
    {
        file.lock(LockFile::Kind::shared);
    }
}

void UsersLock::letOthersIn()
{
    file.lock(LockFile::Kind::shared);
    first = false;
}

} // namespace healthintf::host
