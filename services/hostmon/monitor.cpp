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

FaultAndHealth& Monitor::componentOf(sdbusplus::bus_t& bus,
                                     const std::string& key)
{
    auto& component = components[key];
    if (!component)
    {
        component.reset(
            FaultAndHealth::Init(bus, key, health_namespace::healthOk, false));
        if (!component)
        {
            throw std::runtime_error("unable to make the component " + key);
        }
    }
    return *component;
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
    FaultAndHealth& component = componentOf(bus, config.component);
    constexpr std::size_t sensorNumbers = 255;
    for (const Source& source : sources)
    {
        const auto number =
            static_cast<uint32_t>(1 + watches.size() % sensorNumbers);
        watches.emplace_back(config, source, number, component);
    }
}

void Monitor::check()
{
    for (Watch& watch : watches)
    {
        watch.check();
    }
}

} // namespace healthintf::hostmon
