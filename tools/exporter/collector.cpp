#include "collector.hpp"

#include "cache_content.hpp"

#include <chrono>

namespace healthintf::exporter
{

Collector::Collector(services::EventLoop& loop) :
    listener(readFaultEntries), link(loop, [this](sd_bus* bus) {
        listener.listen(bus);
    })
{}

Snapshot Collector::collect()
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    Snapshot snapshot;
    snapshot.cache = readCacheContent();
    snapshot.space = host::measureCache();
    sd_bus* bus = link.get();
    snapshot.bus = bus != nullptr;
    snapshot.log = question.ask(bus);
    if (snapshot.bus && listener.count().isCounting())
    {
        snapshot.evictions = listener.count().evictions();
    }
    snapshot.seconds =
        std::chrono::duration<double>(Clock::now() - begin).count();
    return snapshot;
}

} // namespace healthintf::exporter
