#pragma once

/** @file All watches of a configuration and the components that they report
 *  on. */

#include "../common/event_loop.hpp"
#include "component_faults.hpp"
#include "config.hpp"
#include "doorbell.hpp"
#include "source_reader.hpp"
#include "watch.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace healthintf::hostmon
{

/** Reads every source at once and then at each interval. Each is read on a
 *  thread of its own, so that one that blocks stops nothing else; it gets a
 *  fault after the configured timeout, as does one that there is no thread for,
 *  at once. Temperature sensors are looked for at each interval; what a device
 *  that is gone had reported goes with it. */
class Monitor
{
  public:
    /** @param[in] bus what the components live on; must outlive this object
     *  @param[in] loop runs the checks; must outlive this object
     *  @param[in] config what to watch
     *  @param[in] root in front of /proc and /sys
     *  @throws std::runtime_error when a component cannot be made
     *  @throws std::system_error when the machine gives no event */
    Monitor(sdbusplus::bus_t& bus, services::EventLoop& loop, Config config,
            std::filesystem::path root);
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;
    ~Monitor() = default;

  private:
    /** A component and the faults on it. */
    struct Component
    {
        Component(sdbusplus::bus_t& bus, const std::string& key);

        std::unique_ptr<health_namespace::FaultAndHealth> health;
        ComponentFaults faults;
    };

    /** A source under watch. */
    struct Watched
    {
        const WatchConfig* config;
        Source source;
        Watch watch;
        /** Null until there is a thread for it. */
        std::unique_ptr<SourceReader> reader;
    };

    /** A component's key and a sensor path: what tells faults apart. */
    using Key = std::pair<std::string, std::string>;

    Component& componentOf(const std::string& key);
    void watchSource(const WatchConfig& watch, const Source& source,
                     std::set<Key>& present);
    void watchAll();
    bool followSources(const WatchConfig& watch, std::set<Key>& present);
    void followDevices();
    void tellProblems();
    void withdraw(const std::set<Key>& present);
    void startReading(Watched& each) const;
    void check();
    void takeReadings();
    void findBlocked();
    void report();

    sdbusplus::bus_t& bus;
    Config config;
    std::filesystem::path root;
    std::shared_ptr<Doorbell> doorbell = std::make_shared<Doorbell>();
    std::map<std::string, Component> components;
    std::map<Key, Watched> watched;
    /** Of sources that are gone, too: one that returns has its number again. */
    std::map<Key, uint32_t> sensorNumbers;
    /** What the present look for sources finds wrong, and the last one did. */
    std::set<std::string> problems;
    std::set<std::string> toldProblems;
    services::EventSource arrivals;
    services::EventSource timeout;
    services::EventSource timer;
};

} // namespace healthintf::hostmon
