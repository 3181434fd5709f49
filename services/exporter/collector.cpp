// SPDX-License-Identifier: Apache-2.0
#include "collector.hpp"

#include "cache_content.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <chrono>

namespace healthintf::exporter
{

Collector::Collector(services::EventLoop& loop) :
    listener(readFaultEntries), link(loop,
                                     [this](sd_bus* bus) {
                                         listener.listen(bus);
                                     }),
    driver({.service = "org.freedesktop.DBus",
            .path = "/org/freedesktop/DBus",
            .interface = "org.freedesktop.DBus",
            .member = "GetId"}),
    healthmgr({.service = names::managerService,
               .path = "/",
               .interface = "org.freedesktop.DBus.Peer",
               .member = "Ping"})
{}

Snapshot Collector::collect()
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    Snapshot snapshot;
    snapshot.cache = readCacheContent();
    snapshot.space = host::measureCache();
    sd_bus* bus = link.get();
    snapshot.bus = driver.make(bus) != nullptr;
    if (snapshot.bus)
    {
        snapshot.healthmgr = healthmgr.make(bus) != nullptr;
        snapshot.log = question.ask(bus);
    }
    if (snapshot.cache)
    {
        listener.forgetAllBut(listComponents(*snapshot.cache));
    }
    if (snapshot.bus && listener.count().isCounting())
    {
        snapshot.evictions = listener.count().evictions();
    }
    snapshot.seconds =
        std::chrono::duration<double>(Clock::now() - begin).count();
    return snapshot;
}

} // namespace healthintf::exporter
