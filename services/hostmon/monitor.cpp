#include "monitor.hpp"

#include "../common/service_log.hpp"

#include <hmi_health_value.hpp>

#include <stdexcept>

namespace healthintf::hostmon
{

namespace log = services::log;
using health_namespace::FaultAndHealth;

Monitor::Monitor(sdbusplus::bus_t& bus, services::EventLoop& loop,
                 const Config& config, const std::filesystem::path& root)
{
    for (const WatchConfig& watch : config.watches)
    {
        addWatches(bus, watch, root);
    }
    check();
    timer = loop.every(config.interval, [this] {
        check();
    });
}

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

Monitor::Component& Monitor::componentOf(sdbusplus::bus_t& bus,
                                         const std::string& key)
{
    const auto found = components.find(key);
    return found != components.end()
               ? found->second
               : components.try_emplace(key, bus, key).first->second;
}

void Monitor::addWatches(sdbusplus::bus_t& bus, const WatchConfig& config,
                         const std::filesystem::path& root)
{
    const std::vector<Source> sources = sourcesOf(config.subject, root);
    if (sources.empty())
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: this machine has nothing to watch for %s",
                    faultTextsOf(config.subject).kind);
    }
    componentOf(bus, config.component);
    constexpr std::size_t sensorNumbers = 255;
    for (const Source& source : sources)
    {
        const auto number =
            static_cast<uint32_t>(1 + watches.size() % sensorNumbers);
        const std::string key =
            source.device.empty()
                ? config.component
                : deviceKeyOf(config.component, source.device);
        watches.emplace_back(config, source, number,
                             componentOf(bus, key).faults);
    }
}

void Monitor::check()
{
    for (Watch& watch : watches)
    {
        watch.check();
    }
    for (auto& [key, component] : components)
    {
        component.faults.report();
    }
}

} // namespace healthintf::hostmon
