#include "cache_use.hpp"

#include "../directories.hpp"
#include "../storage/file_descriptor.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

bool isForbidden(int error)
{
    return error == EACCES || error == EPERM || error == EROFS;
}

/** Whether everything can be written that every user writes, readers too. */
bool mayBeWritten(const fs::path& folder)
{
    return std::ranges::all_of(
        std::array{"", "users", "data.mdb", "lock.mdb"}, [&](const char* name) {
            const fs::path path = folder / name;
            return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ||
                   !isForbidden(errno);
        });
}

/** Whether a process holds a lock on the file. */
bool isLocked(const FileDescriptor& file)
{
    struct flock whole
    {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(file.get(), F_OFD_GETLK, &whole) == 0 &&
           whole.l_type != F_UNLCK;
}

} // namespace

fs::path dataCacheFolder()
{
    return runtimeDirectory() / "datacache";
}

CacheUse cacheUse(const fs::path& folder)
{
    const FileDescriptor users(
        open((folder / "users").c_str(), O_RDONLY | O_CLOEXEC));
    if (users.get() < 0)
    {
        return isForbidden(errno) ? CacheUse::forbidden : CacheUse::unused;
    }
    if (!isLocked(users))
    {
        return CacheUse::unused;
    }
    return mayBeWritten(folder) ? CacheUse::open : CacheUse::forbidden;
}

} // namespace healthintf::host
