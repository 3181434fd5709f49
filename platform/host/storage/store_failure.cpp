#include "store_failure.hpp"

#include "lmdb.hpp"

#include <cerrno>
#include <new>
#include <system_error>

namespace healthintf::host
{
namespace
{

/** Whether an LMDB code says that the data file is damaged. */
bool isDamage(int code) noexcept
{
    switch (code)
    {
        case MDB_INVALID:
        case MDB_VERSION_MISMATCH:
        case MDB_CORRUPTED:
        case MDB_MAP_RESIZED:
        case MDB_PAGE_NOTFOUND:
            return true;
        default:
            return false;
    }
}

} // namespace

int codeOf(const std::exception& failure) noexcept
{
    if (const auto* lmdb = dynamic_cast<const LmdbError*>(&failure))
    {
        return lmdb->code();
    }
    if (const auto* system = dynamic_cast<const std::system_error*>(&failure))
    {
        return system->code().value();
    }
    return dynamic_cast<const std::bad_alloc*>(&failure) != nullptr ? ENOMEM
                                                                    : EIO;
}

std::string remedyFor(int code, const StoreAdvice& advice)
{
    if (isDamage(code))
    {
        return "it is damaged: restart every process that uses it, and it is "
               "made anew";
    }
    const std::string variable = advice.folderVariable;
    switch (code)
    {
        case MDB_MAP_FULL:
        case EDQUOT:
            return advice.full;
        case MDB_READERS_FULL:
            return "too many readers at the same time";
        case MDB_BAD_VALSIZE:
            return advice.tooLong;
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
