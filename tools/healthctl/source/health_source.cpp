#include "health_source.hpp"

#include "../error.hpp"
#include "../model/component.hpp"
#include "bus_source.hpp"
#include "cache_source.hpp"
#include "data_cache/cache_space.hpp"
#include "directories.hpp"

#include <exception>

namespace healthintf::healthctl
{
namespace
{

host::CacheUse cacheUse()
{
    try
    {
        return host::cacheUse(host::dataCacheFolder());
    }
    catch (const std::exception&)
    {
        // This user has no folder for one.
        return host::CacheUse::unused;
    }
}

std::unique_ptr<HealthSource> openCache()
{
    switch (cacheUse())
    {
        case host::CacheUse::open:
            break;
        case host::CacheUse::unused:
            throw Error(ExitCode::unavailable,
                        "nobody uses the data cache; start the services, or "
                        "set HEALTHINTF_RUNTIME_DIR to their folder");
        case host::CacheUse::forbidden:
            throw Error(ExitCode::notPermitted,
                        "this user may not read the data cache; let everybody "
                        "read its folder, or try again with --source bus");
    }
    return std::make_unique<CacheSource>();
}

/** The bus, if there is a node on it. */
std::unique_ptr<HealthSource> openBus()
{
    auto source = std::make_unique<BusSource>();
    if (source->nodes().empty())
    {
        throw Error(ExitCode::unavailable,
                    "nothing runs: there is no data cache in use and no health "
                    "node on the bus; start the services, for example "
                    "\"systemctl start healthmgr\"");
    }
    return source;
}

} // namespace

std::unique_ptr<HealthSource> openSource(SourceChoice choice)
{
    switch (choice)
    {
        case SourceChoice::cache:
            return openCache();
        case SourceChoice::bus:
            return openBus();
        case SourceChoice::automatic:
            break;
    }
    // Nothing there for this user may also mean that others have theirs
    // elsewhere, and the bus shows both.
    return cacheUse() == host::CacheUse::open ? openCache() : openBus();
}

void checkComponent(HealthSource& source, const std::string& written)
{
    if (!source.nodes().contains(keyOf(written)))
    {
        throw noComponent(written);
    }
}

} // namespace healthintf::healthctl
