#include "data_cache.hpp"

#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../storage/opened_once.hpp"
#include "../storage/store_failure.hpp"
#include "cache_use.hpp"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
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

constinit OpenedOnce<Environment> environment;

constinit FailureLog cacheFailures;

/** What to do about a failure, in words. */
std::string remedyForCache(int code)
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

Environment& dataCache()
{
    return environment.get([] {
        return std::make_unique<Environment>(dataCacheFolder(), capacity());
    });
}

bool freedPages(const LmdbError& failure) noexcept
{
    const Environment* cache = environment.opened();
    int dead = 0;
    return failure.code() == MDB_MAP_FULL && cache != nullptr &&
           mdb_reader_check(cache->get(), &dead) == 0 && dead > 0;
}

int reportCacheFailure(const std::exception& failure) noexcept
{
    const int code = codeOf(failure);
    if (cacheFailures.admits(code))
    {
        HOST_LOG(log::error, "%s.%d.%s: data cache %s: %s (%s)",
                 folderForLog().c_str(), failure.what(),
                 remedyForCache(code).c_str());
    }
    return code;
}

void noteCacheSuccess() noexcept
{
    cacheFailures.noteSuccess();
}

} // namespace healthintf::host
