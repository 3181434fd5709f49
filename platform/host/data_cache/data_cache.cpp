#include "data_cache.hpp"

#include "../directories.hpp"
#include "../host_log.hpp"

#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>

namespace healthintf::host
{
namespace
{

/** The size limit that $HEALTHINTF_CACHE_MIB asks for, in bytes. */
std::size_t capacity()
{
    const char* text = secure_getenv("HEALTHINTF_CACHE_MIB");
    if (text == nullptr)
    {
        return Environment::defaultCapacity;
    }
    constexpr std::size_t most = sizeof(void*) > 4 ? 1UL << 20 : 1024;
    constexpr int bitsOfMiB = 20;
    std::size_t mebibytes = 0;
    const char* end = text + std::strlen(text);
    const auto [stopped, error] = std::from_chars(text, end, mebibytes);
    if (error != std::errc{} || stopped != end || mebibytes == 0 ||
        mebibytes > most)
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: HEALTHINTF_CACHE_MIB=%s is no number from 1 to "
                 "%zu, using %zu",
                 text, most, Environment::defaultCapacity >> bitsOfMiB);
        return Environment::defaultCapacity;
    }
    return mebibytes << bitsOfMiB;
}

/** What the process has open. A child after fork() may neither use nor close
 *  what its parent opened; it keeps that and opens anew. */
struct Opened
{
    Environment* environment;
    pid_t process;
    const Opened* parents;
};

std::atomic<const Opened*> opened{nullptr};

/** The failure that was logged last, 0 after a success. */
std::atomic<int> lastFailure{0};

const char* remedyFor(int code)
{
    switch (code)
    {
        case MDB_MAP_FULL:
            return "it is full: raise HEALTHINTF_CACHE_MIB and restart every "
                   "process that uses it";
        case MDB_READERS_FULL:
            return "too many readers at the same time";
        case MDB_BAD_VALSIZE:
            return "an object path is too long for it (at most 510 bytes)";
        case MDB_INVALID:
        case MDB_VERSION_MISMATCH:
        case MDB_CORRUPTED:
        case MDB_MAP_RESIZED:
        case MDB_PAGE_NOTFOUND:
            return "it is damaged: restart every process that uses it, and it "
                   "is made anew";
        case ENOSPC:
            return "its filesystem is full: free some space or set "
                   "HEALTHINTF_RUNTIME_DIR to another";
        case EACCES:
        case EPERM:
        case EROFS:
            return "let this user write to the folder, or set "
                   "HEALTHINTF_RUNTIME_DIR to another";
        default:
            return "see the folder's files and permissions";
    }
}

int codeOf(const std::exception& failure)
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

std::string folderForLog()
{
    try
    {
        return runtimeDirectory() / "datacache";
    }
    catch (const std::exception&)
    {
        return "";
    }
}

} // namespace

Environment& dataCache()
{
    const Opened* current = opened.load(std::memory_order_acquire);
    const pid_t process = getpid();
    if (current != nullptr && current->process == process)
    {
        return *current->environment;
    }
    static std::mutex opening;
    const std::lock_guard lock(opening);
    current = opened.load(std::memory_order_acquire);
    if (current == nullptr || current->process != process)
    {
        auto environment = std::make_unique<Environment>(
            runtimeDirectory() / "datacache", capacity());
        // Never closed: objects that outlive main() still use it.
        current = new Opened{environment.release(), process, current};
        opened.store(current, std::memory_order_release);
    }
    return *current->environment;
}

bool freedPages(const LmdbError& failure) noexcept
{
    const Opened* current = opened.load(std::memory_order_acquire);
    int dead = 0;
    return failure.code() == MDB_MAP_FULL && current != nullptr &&
           mdb_reader_check(current->environment->get(), &dead) == 0 &&
           dead > 0;
}

int reportCacheFailure(const std::exception& failure) noexcept
{
    const int code = codeOf(failure);
    if (lastFailure.exchange(code) != code)
    {
        HOST_LOG(log::error, "%s.%d.%s: data cache %s: %s (%s)",
                 folderForLog().c_str(), failure.what(), remedyFor(code));
    }
    return code;
}

void noteCacheSuccess() noexcept
{
    if (lastFailure.load(std::memory_order_relaxed) != 0)
    {
        lastFailure.store(0);
    }
}

} // namespace healthintf::host
