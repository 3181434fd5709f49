#pragma once

/** @file All watches of a configuration and the components that they report
 *  on. */

#include "../common/event_loop.hpp"
#include "component_faults.hpp"
#include "config.hpp"
#include "watch.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** Checks every watch at once and then at each interval. */
class Monitor
{
  public:
    /** @param[in] bus what the components live on; must outlive this object
     *  @param[in] loop runs the checks; must outlive this object
     *  @param[in] config what to watch
     *  @param[in] root in front of /proc and /sys
     *  @throws std::runtime_error when a component cannot be made */
    Monitor(sdbusplus::bus_t& bus, services::EventLoop& loop,
            const Config& config, const std::filesystem::path& root);

  private:
    /** A component and the faults on it. */
    struct Component
    {
        Component(sdbusplus::bus_t& bus, const std::string& key);

        std::unique_ptr<health_namespace::FaultAndHealth> health;
        ComponentFaults faults;
    };

    Component& componentOf(sdbusplus::bus_t& bus, const std::string& key);
    void addWatches(sdbusplus::bus_t& bus, const WatchConfig& config,
                    const std::filesystem::path& root);
    void check();

    std::map<std::string, Component> components;
    std::vector<Watch> watches;
    services::EventSource timer;
};

} // namespace healthintf::hostmon
