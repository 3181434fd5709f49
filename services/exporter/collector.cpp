// SPDX-License-Identifier: Apache-2.0
#include "collector.hpp"

#include "cache_content.hpp"
#include "healthmgr/protocol.hpp"

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
               .member = "Ping"}),
    silences(host::silencesInterface, host::listSilencesMethod),
    acknowledgements(host::acknowledgementsInterface,
                     host::listAcknowledgementsMethod)
{}

void Collector::askHealthmgr(sd_bus* bus, Snapshot& snapshot)
{
    // One that hangs is waited for once.
    snapshot.healthmgr = healthmgr.make(bus) != nullptr;
    if (snapshot.healthmgr)
    {
        snapshot.silences = silences.ask(bus);
    }
    if (snapshot.silences)
    {
        snapshot.acknowledgements = acknowledgements.ask(bus);
    }
}

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
        askHealthmgr(bus, snapshot);
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
