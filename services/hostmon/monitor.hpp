// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file All watches of a configuration and the components that they report
 *  on. */

#include "../common/event_loop.hpp"
#include "../common/loop_wakeup.hpp"
#include "component_faults.hpp"
#include "config.hpp"
#include "source_reader.hpp"
#include "watch.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace healthintf::hostmon
{

/** Claims the component of a device, for as long as what it returns lives.
 *  Throws when another process has it. */
using ClaimOfDevice =
    std::function<std::shared_ptr<void>(const std::string& component)>;

/** Reads every source when it is created and then at each interval, each on a
 *  thread of its own, so that a source that blocks delays no other. A source
 *  that blocks gets a fault after the configured timeout; one for which the
 *  system gives no thread gets it at once. Each interval also looks for new
 *  temperature sensors, and removes the faults of sensors that are gone. */
class Monitor
{
  public:
    /** @param[in] bus the connection of the components; must outlive this
     *  object
     *  @param[in] loop runs the timers; must outlive this object
     *  @param[in] config what to watch
     *  @param[in] root the folder that holds proc and sys; empty for the
     *  machine's own
     *  @param[in] ownClaim claims the components of devices. The component of a
     *  device that appears later is tried again at each interval
     *  @throws std::runtime_error when a component cannot be made or claimed
     *  @throws std::system_error when the system gives no descriptor */
    Monitor(sdbusplus::bus_t& bus, services::EventLoop& loop, Config config,
            std::filesystem::path root, ClaimOfDevice ownClaim);
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;
    ~Monitor() = default;

  private:
    /** A component and the faults on it. */
    struct Component
    {
        Component(sdbusplus::bus_t& bus, const std::string& key,
                  std::shared_ptr<void> claim);

        /** Null for the component of a table. */
        std::shared_ptr<void> claim;
        std::unique_ptr<health_namespace::FaultAndHealth> health;
        ComponentFaults faults;
    };

    /** A source under watch. */
    struct WatchedSource
    {
        const WatchConfig* config;
        Source source;
        Watch watch;
        /** Reads the source; null until the system gave a thread for it. */
        std::unique_ptr<SourceReader> reader;
    };

    /** A component's key and a sensor path, which together identify a
     *  source. */
    using SourceKey = std::pair<std::string, std::string>;

    Component& findOrAddComponent(const std::string& key, bool ofDevice);
    void watchSource(const WatchConfig& watch, const Source& source,
                     std::set<SourceKey>& present);
    void watchAll();
    bool updateSources(const WatchConfig& watch, std::set<SourceKey>& present);
    void updateDevices();
    void logNewProblems();
    void removeGoneSources(const std::set<SourceKey>& present);
    void startReading(WatchedSource& each) const;
    void readSources();
    void takeReadings();
    void reportBlockedSources();
    void report();

    sdbusplus::bus_t& bus;
    Config config;
    std::filesystem::path root;
    ClaimOfDevice claim;
    std::shared_ptr<services::LoopWakeup> wakeup =
        std::make_shared<services::LoopWakeup>();
    std::map<std::string, Component> components;
    std::map<SourceKey, WatchedSource> watchedSources;
    /** Also of sources that are gone, so that one that returns gets the same
     *  number. */
    std::map<SourceKey, uint32_t> sensorNumbers;
    /** What went wrong in the current search for sources, and in the one
     *  before: only new problems are logged. */
    std::set<std::string> problems;
    std::set<std::string> loggedProblems;
    services::EventSource arrivals;
    services::EventSource timeout;
    services::EventSource timer;
};

} // namespace healthintf::hostmon
