// SPDX-License-Identifier: Apache-2.0
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

Monitor::Component::Component(sdbusplus::bus_t& bus, const std::string& key,
                              std::shared_ptr<void> ownClaim) :
    claim(std::move(ownClaim)),
    health(makeHealth(bus, key)), faults(key, *health)
{}

Monitor::Monitor(sdbusplus::bus_t& ownBus, services::EventLoop& loop,
                 Config ownConfig, std::filesystem::path ownRoot,
                 ClaimOfDevice ownClaim) :
    bus(ownBus),
    config(std::move(ownConfig)), root(std::move(ownRoot)),
    claim(std::move(ownClaim)), arrivals(loop.onReadable(wakeup->descriptor(),
                                                         [this] {
                                                             takeReadings();
                                                         })),
    timeout(loop.onceLater([this] {
        reportBlockedSources();
    }))
{
    watchAll();
    readSources();
    timer = loop.every(config.interval, [this] {
        updateDevices();
        readSources();
    });
}

Monitor::Component& Monitor::findOrAddComponent(const std::string& key,
                                                bool ofDevice)
{
    const auto found = components.find(key);
    return found != components.end()
               ? found->second
               : components
                     .try_emplace(key, bus, key,
                                  ofDevice ? claim(key) : nullptr)
                     .first->second;
}

void Monitor::watchSource(const WatchConfig& watch, const Source& source,
                          std::set<SourceKey>& present)
{
    const bool ofDevice = !source.device.empty();
    const std::string component =
        ofDevice ? makeDeviceKey(watch.component, source.device)
                 : watch.component;
    const SourceKey key(
        component,
        makeSensorPath(selectFaultTexts(watch.subject).kind, source.id));
    present.insert(key);
    const auto known = watchedSources.find(key);
    if (known == watchedSources.end())
    {
        constexpr std::size_t most = 255;
        const auto number =
            static_cast<uint32_t>(1 + sensorNumbers.size() % most);
        watchedSources.emplace(
            key, WatchedSource{
                     &watch, source,
                     Watch(watch, source,
                           sensorNumbers.try_emplace(key, number).first->second,
                           findOrAddComponent(component, ofDevice).faults),
                     nullptr});
    }
    else if (known->second.config != &watch)
    {
        problems.insert(source.name + " is watched by two tables for " +
                        component + ": the first one counts");
    }
    else if (known->second.source.inputFile != source.inputFile)
    {
        known->second.source = source;
        known->second.reader.reset();
    }
}

void Monitor::watchAll()
{
    std::set<SourceKey> present;
    for (const WatchConfig& watch : config.watches)
    {
        const std::vector<Source> sources =
            makeSources(watch.subject, root, config.timeout);
        for (const Source& source : sources)
        {
            watchSource(watch, source, present);
        }
        if (sources.empty())
        {
            SERVICE_LOG(log::warning, "%s.%d.%s: found nothing to watch for %s",
                        selectFaultTexts(watch.subject).kind);
        }
        findOrAddComponent(watch.component, false);
    }
    logNewProblems();
}

/** Looks for the sources of one watch and adds new ones.
 *
 *  @return whether all sources could be listed, so that missing ones are
 *          gone */
bool Monitor::updateSources(const WatchConfig& watch,
                            std::set<SourceKey>& present)
{
    std::vector<Source> sources;
    try
    {
        sources = makeSources(watch.subject, root, config.timeout);
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

void Monitor::updateDevices()
{
    std::set<SourceKey> present;
    bool complete = true;
    for (const WatchConfig& watch : config.watches)
    {
        if (std::holds_alternative<Temperature>(watch.subject))
        {
            complete = updateSources(watch, present) && complete;
        }
    }
    if (complete)
    {
        removeGoneSources(present);
    }
    logNewProblems();
}

/** Logs the problems that the search before did not have. */
void Monitor::logNewProblems()
{
    for (const std::string& problem : problems)
    {
        if (!loggedProblems.contains(problem))
        {
            SERVICE_LOG(log::warning, "%s.%d.%s: %s", problem.c_str());
        }
    }
    loggedProblems = std::exchange(problems, {});
}

void Monitor::removeGoneSources(const std::set<SourceKey>& present)
{
    std::set<std::string> used;
    for (const WatchConfig& watch : config.watches)
    {
        used.insert(watch.component);
    }
    for (auto each = watchedSources.begin(); each != watchedSources.end();)
    {
        const bool gone =
            std::holds_alternative<Temperature>(each->second.config->subject) &&
            !present.contains(each->first);
        if (gone)
        {
            each->second.watch.removeFaults();
            each = watchedSources.erase(each);
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

/** Starts a reading. When there can be no thread for it, the source gets a
 *  fault. */
void Monitor::startReading(WatchedSource& each) const
{
    try
    {
        if (!each.reader)
        {
            each.reader = std::make_unique<SourceReader>(each.source.read,
                                                         [wakeup = wakeup] {
                                                             wakeup->wake();
                                                         });
        }
        each.reader->start();
    }
    catch (const std::exception& e)
    {
        each.watch.take({std::nullopt, e.what()});
    }
}

void Monitor::readSources()
{
    for (auto& [key, each] : watchedSources)
    {
        startReading(each);
    }
    reportBlockedSources();
}

void Monitor::takeReadings()
{
    wakeup->reset();
    for (auto& [key, each] : watchedSources)
    {
        const auto reading = each.reader ? each.reader->take() : std::nullopt;
        if (reading)
        {
            each.watch.take(*reading);
        }
    }
    report();
}

/** Gives the sources that did not answer within the timeout a fault, and sets
 *  the timer to when the next one will not have answered. */
void Monitor::reportBlockedSources()
{
    using std::chrono::steady_clock;
    const std::string cause = describeTimeout(config.timeout);
    steady_clock::duration longest{0};
    for (auto& [key, each] : watchedSources)
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
