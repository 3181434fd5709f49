// SPDX-License-Identifier: Apache-2.0
#include "data_cache.hpp"

#include "../directories.hpp"
#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../storage/store_failure.hpp"
#include "segment_folder.hpp"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

constexpr int bitsOfMiB = 20;

/** The records of this process. Never destroyed: objects that outlive main()
 *  still use them. */
std::atomic<OwnRecords*> own{nullptr};
/** The records that a forked process got from its parent, kept reachable for
 *  leak checkers: volatile, because nothing reads it. */
OwnRecords* volatile inherited = nullptr;
std::mutex making;
std::atomic<bool> placeholders{false};

/** Gives a forked child records of its own instead of its parent's. */
void handleForks()
{
    const int result = pthread_atfork(
        [] {
            making.lock();
        },
        [] {
            making.unlock();
        },
        [] {
            making.unlock();
            OwnRecords* made = own.exchange(nullptr);
            inherited = made;
            if (made != nullptr)
            {
                made->abandon();
            }
        });
    if (result != 0)
    {
        throw std::system_error(result, std::generic_category(),
                                "pthread_atfork");
    }
}

/** Removes the segments of dead processes that have no nodes. The others are
 *  left to healthmgr, which must report the nodes' end to their parents. If
 *  there are many, healthmgr is not running: then one segment of each node is
 *  left for the next healthmgr, and that only up to a limit. */
void removeLeftovers(const fs::path& folder)
{
    constexpr std::size_t many = 64;
    constexpr std::size_t mostLeft = 1024;
    const auto dead = findDeadSegments(folder);
    std::set<std::string_view> known;
    std::size_t left = 0;
    for (const DeadSegment& segment : dead)
    {
        bool isNeeded = !segment.nodes.empty() && dead.size() <= many;
        for (const DeadNode& node : segment.nodes)
        {
            isNeeded |= known.insert(node.path).second;
        }
        if (!isNeeded || left == mostLeft)
        {
            removeSegment(folder, segment.name);
        }
        else
        {
            ++left;
        }
    }
}

std::unique_ptr<OwnRecords> makeRecords()
{
    const fs::path folder = dataCacheFolder();
    removeLeftovers(folder);
    auto made = std::make_unique<OwnRecords>(folder, segmentCapacity());
    if (placeholders)
    {
        made->makePlaceholders();
    }
    return made;
}

/** Removes the file of a process at exit, if it has removed its records. */
struct RemovalAtExit
{
    RemovalAtExit() = default;
    ~RemovalAtExit()
    {
        if (OwnRecords* made = own)
        {
            made->removeFileIfEmpty();
        }
    }
    RemovalAtExit(const RemovalAtExit&) = delete;
    RemovalAtExit& operator=(const RemovalAtExit&) = delete;
};

const RemovalAtExit removal;

constinit FailureLog cacheFailures;

/** What the administrator can do about a failure. */
std::string cacheRemedy(int code)
{
    switch (code)
    {
        case EDQUOT:
            return "this process has no room for another record: raise "
                   "HEALTHINTF_CACHE_MIB and restart it";
        case ENAMETOOLONG:
            return "an object path is too long for it (at most 510 bytes)";
        case E2BIG:
            return "the texts of a fault are too long for it (at most 1 MiB)";
        case EACCES:
        case EPERM:
            return "this user may not report health: let it make files in the "
                   "folder (group healthintf may), or set "
                   "HEALTHINTF_RUNTIME_DIR to another";
        default:
            return folderRemedy(code, "HEALTHINTF_RUNTIME_DIR");
    }
}

std::string folderForLog()
{
    try
    {
        return dataCacheFolder();
    }
    catch (const std::exception&)
    {
        return "";
    }
}

} // namespace

std::size_t segmentCapacity()
{
    constexpr std::size_t usual = sizeof(void*) > 4 ? 256 : 64;
    constexpr std::size_t most = sizeof(void*) > 4 ? 65536 : 1024;
    const char* text = secure_getenv("HEALTHINTF_CACHE_MIB");
    if (text == nullptr)
    {
        return usual << bitsOfMiB;
    }
    std::size_t mebibytes = 0;
    const char* end = text + std::strlen(text);
    const auto [stopped, error] = std::from_chars(text, end, mebibytes);
    if (error != std::errc{} || stopped != end || mebibytes == 0 ||
        mebibytes > most)
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: HEALTHINTF_CACHE_MIB=%s is no number from 1 to "
                 "%zu, using %zu",
                 text, most, usual);
        return usual << bitsOfMiB;
    }
    return mebibytes << bitsOfMiB;
}

OwnRecords& ownRecords()
{
    if (OwnRecords* made = own.load(std::memory_order_acquire))
    {
        return *made;
    }
    // Before the lock is taken: a child must not inherit a held lock.
    static std::once_flag forksHandled;
    std::call_once(forksHandled, handleForks);
    const std::lock_guard lock(making);
    if (OwnRecords* made = own.load(std::memory_order_acquire))
    {
        return *made;
    }
    OwnRecords* made = makeRecords().release();
    own.store(made, std::memory_order_release);
    return *made;
}

OwnRecords* ownRecordsIfAny() noexcept
{
    return own.load(std::memory_order_acquire);
}

void makeOwnRecordsPlaceholders()
{
    const std::lock_guard lock(making);
    placeholders = true;
    if (OwnRecords* made = own)
    {
        made->makePlaceholders();
    }
}

int reportCacheFailure(const std::exception& failure) noexcept
{
    const int code = getErrorNumber(failure);
    if (cacheFailures.admits(code))
    {
        HOST_LOG(log::error, "%s.%d.%s: data cache %s: %s (%s)",
                 folderForLog().c_str(), failure.what(),
                 cacheRemedy(code).c_str());
    }
    return code;
}

void noteCacheSuccess() noexcept
{
    cacheFailures.noteSuccess();
}

} // namespace healthintf::host
