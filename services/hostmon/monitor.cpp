#include "monitor.hpp"

#include "../common/service_log.hpp"

#include <hmi_health_value.hpp>

#include <algorithm>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <variant>
#include <vector>

namespace healthintf::hostmon
{

namespace log = services::log;
using health_namespace::FaultAndHealth;

namespace
{

std::unique_ptr<FaultAndHealth> makeHealth(sdbusplus::bus_t& bus,
                                           const std::string& key)
{
    std::unique_ptr<FaultAndHealth> health(
        FaultAndHealth::Init(bus, key, health_namespace::healthOk, false));
    if (!health)
    {
        throw std::runtime_error("unable to make the component " + key);
    }
    return health;
}

} // namespace

Monitor::Component::Component(sdbusplus::bus_t& bus, const std::string& key) :
    health(makeHealth(bus, key)), faults(key, *health)
{}

Monitor::Monitor(sdbusplus::bus_t& ownBus, services::EventLoop& loop,
                 Config ownConfig, std::filesystem::path ownRoot) :
    bus(ownBus),
    config(std::move(ownConfig)), root(std::move(ownRoot)),
    arrivals(loop.onReadable(doorbell->descriptor(),
                             [this] {
                                 takeReadings();
                             })),
    timeout(loop.onceLater([this] {
        findBlocked();
    }))
{
    watchAll();
    check();
    timer = loop.every(config.interval, [this] {
        followDevices();
        check();
    });
}

Monitor::Component& Monitor::componentOf(const std::string& key)
{
    const auto found = components.find(key);
    return found != components.end()
               ? found->second
               : components.try_emplace(key, bus, key).first->second;
}

void Monitor::watchSource(const WatchConfig& watch, const Source& source,
                          std::set<Key>& present)
{
    const std::string component =
        source.device.empty() ? watch.component
                              : deviceKeyOf(watch.component, source.device);
    const Key key(component,
                  sensorPathOf(faultTextsOf(watch.subject).kind, source.id));
    present.insert(key);
    const auto known = watched.find(key);
    if (known == watched.end())
    {
        constexpr std::size_t most = 255;
        const auto number =
            static_cast<uint32_t>(1 + sensorNumbers.size() % most);
        watched.emplace(
            key,
            Watched{&watch, source,
                    Watch(watch, source,
                          sensorNumbers.try_emplace(key, number).first->second,
                          componentOf(component).faults),
                    nullptr});
    }
    else if (known->second.config != &watch)
    {
        problems.insert(source.name + " is watched by two tables for " +
                        component + ": the first one counts");
    }
    else if (known->second.source.place != source.place)
    {
        known->second.source = source;
        known->second.reader.reset();
    }
}

void Monitor::watchAll()
{
    std::set<Key> present;
    for (const WatchConfig& watch : config.watches)
    {
        const std::vector<Source> sources =
            sourcesOf(watch.subject, root, config.timeout);
        for (const Source& source : sources)
        {
            watchSource(watch, source, present);
        }
        if (sources.empty())
        {
            SERVICE_LOG(log::warning,
                        "%s.%d.%s: this machine has nothing to watch for %s",
                        faultTextsOf(watch.subject).kind);
        }
        componentOf(watch.component);
    }
    tellProblems();
}

/** Looks for the sources of one watch.
 *
 *  @return whether @p present has all that there are */
bool Monitor::followSources(const WatchConfig& watch, std::set<Key>& present)
{
    std::vector<Source> sources;
    try
    {
        sources = sourcesOf(watch.subject, root, config.timeout);
    }
    catch (const std::exception& e)
    {
        problems.insert(e.what());
        return false;
    }
    for (const Source& source : sources)
    {
        try
        {
            watchSource(watch, source, present);
        }
        catch (const std::exception& e)
        {
            problems.insert(e.what());
        }
    }
    return true;
}

void Monitor::followDevices()
{
    std::set<Key> present;
    bool complete = true;
    for (const WatchConfig& watch : config.watches)
    {
        if (std::holds_alternative<Temperature>(watch.subject))
        {
            complete = followSources(watch, present) && complete;
        }
    }
    if (complete)
    {
        withdraw(present);
    }
    tellProblems();
}

/** Logs what was not wrong the last time. */
void Monitor::tellProblems()
{
    for (const std::string& problem : problems)
    {
        if (!toldProblems.contains(problem))
        {
            SERVICE_LOG(log::warning, "%s.%d.%s: %s", problem.c_str());
        }
    }
    toldProblems = std::exchange(problems, {});
}

void Monitor::withdraw(const std::set<Key>& present)
{
    std::set<std::string> used;
    for (const WatchConfig& watch : config.watches)
    {
        used.insert(watch.component);
    }
    for (auto each = watched.begin(); each != watched.end();)
    {
        const bool gone =
            std::holds_alternative<Temperature>(each->second.config->subject) &&
            !present.contains(each->first);
        if (gone)
        {
            each->second.watch.withdraw();
            each = watched.erase(each);
        }
        else
        {
            used.insert(each->first.first);
            ++each;
        }
    }
    std::erase_if(components, [&](const auto& component) {
        return !used.contains(component.first);
    });
}

/** Asks for a reading; a source without a thread gets one first, or a fault. */
void Monitor::startReading(Watched& each) const
{
    try
    {
        if (!each.reader)
        {
            each.reader = std::make_unique<SourceReader>(each.source.read,
                                                         [bell = doorbell] {
                                                             bell->ring();
                                                         });
        }
        each.reader->start();
    }
    catch (const std::exception& e)
    {
        each.watch.take({std::nullopt, e.what()});
    }
}

void Monitor::check()
{
    for (auto& [key, each] : watched)
    {
        startReading(each);
    }
    findBlocked();
}

void Monitor::takeReadings()
{
    doorbell->answer();
    for (auto& [key, each] : watched)
    {
        const auto reading = each.reader ? each.reader->take() : std::nullopt;
        if (reading)
        {
            each.watch.take(*reading);
        }
    }
    report();
}

/** Takes what gave no answer in time as unreadable, and comes back when the
 *  next one will have given none. */
void Monitor::findBlocked()
{
    using std::chrono::steady_clock;
    const std::string cause = noAnswerWithin(config.timeout);
    steady_clock::duration longest{0};
    for (auto& [key, each] : watched)
    {
        const auto busy =
            each.reader ? each.reader->busyFor() : steady_clock::duration{0};
        if (busy >= config.timeout)
        {
            each.watch.take({std::nullopt, cause});
        }
        else
        {
            longest = std::max(longest, busy);
        }
    }
    report();
    if (longest > steady_clock::duration::zero())
    {
        services::EventLoop::after(timeout,
                                   std::chrono::ceil<std::chrono::microseconds>(
                                       config.timeout - longest));
    }
}

void Monitor::report()
{
    for (auto& [key, component] : components)
    {
        component.faults.report();
    }
}

} // namespace healthintf::hostmon
