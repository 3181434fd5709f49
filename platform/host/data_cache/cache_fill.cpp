#include "cache_fill.hpp"

#include "../storage/free_pages.hpp"
#include "data_cache.hpp"

#include <algorithm>

namespace healthintf::host
{
namespace
{

CacheFill fillOf(MDB_env* environment)
{
    MDB_envinfo info{};
    MDB_stat stat{};
    checkLmdb("mdb_env_info", mdb_env_info(environment, &info));
    checkLmdb("mdb_env_stat", mdb_env_stat(environment, &stat));
    const std::size_t pages = info.me_last_pgno + 1;
    // Another process may write between the two counts.
    const std::size_t unused = std::min(pages, freePages(environment));
    return {static_cast<uint64_t>(pages - unused) * stat.ms_psize,
            info.me_mapsize - Environment::reserve};
}

} // namespace

std::optional<CacheFill> cacheFill()
{
    try
    {
        const CacheFill fill = fillOf(dataCache().get());
        noteCacheSuccess();
        return fill;
    }
    catch (const std::exception& e)
    {
        reportCacheFailure(e);
        return std::nullopt;
    }
}

} // namespace healthintf::host
