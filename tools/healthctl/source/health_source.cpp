// SPDX-License-Identifier: Apache-2.0
#include "health_source.hpp"

#include "../model/component.hpp"
#include "bus_source.hpp"
#include "cache_source.hpp"
#include "data_cache/cache_space.hpp"
#include "directories.hpp"

#include <exception>
#include <iostream>

#include <printable.hpp>

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
        // This user has no runtime folder.
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
        throw noNodesIn(*source);
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
    // Without a cache that this user may read, the bus shows the same.
    return cacheUse() == host::CacheUse::open ? openCache() : openBus();
}

std::unique_ptr<HealthSource> openSourceAgain(const RepeatedReading& reading)
{
    return cacheUse() == host::CacheUse::open
               ? openCache()
               : std::make_unique<BusSource>(reading);
}

std::unique_ptr<HealthSource> openSourceWithWarning(SourceChoice choice)
{
    auto source = openSource(choice);
    if (const auto silent = source->silent(); !silent.empty())
    {
        std::cerr << "healthctl: " << host::printable(describeMissing(silent))
                  << '\n';
    }
    return source;
}

std::string describeMissing(const SilentProcesses& silent)
{
    const bool one = silent.size() == 1;
    return "what " + silent.begin()->second +
           (one ? std::string(" has")
                : " and " + std::to_string(silent.size() - 1) + " more have") +
           " is missing: " + (one ? "it" : "they") + " did not answer";
}

Error noNodesIn(const HealthSource& source)
{
    if (const auto silent = source.silent(); !silent.empty())
    {
        return {ExitCode::unavailable, "no health node is shown on the bus; " +
                                           describeMissing(silent)};
    }
    return {ExitCode::unavailable,
            "nothing runs: there is no data cache in use and no health node on "
            "the bus; start the services, for example \"systemctl start "
            "healthmgr\""};
}

Error noComponentIn(const HealthSource& source, const std::string& written)
{
    return source.silent().empty()
               ? noComponent(written)
               : Error(ExitCode::unavailable,
                       "no process that answered has the component \"" +
                           written + "\"; try again once all answer");
}

void checkComponent(HealthSource& source, const std::string& written)
{
    if (!source.nodes().contains(parseKey(written)))
    {
        throw noComponentIn(source, written);
    }
}

} // namespace healthintf::healthctl
