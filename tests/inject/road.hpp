// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A road: an operation of a daemon, during which calls are made to fail.
 */

#include "view.hpp"

#include <hmi_fault_health.hpp>
#include <lmi_sel_fault.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace healthintf::test
{

using health_namespace::FaultAndHealth;

/** The objects of one try. */
struct Try
{
    /** A key that no earlier try has used. */
    std::string key;
    std::unique_ptr<FaultAndHealth> component;
    std::unique_ptr<logmgr_interface::SELAndFault> events;
    /** The worst health that a child has reported; the component may have
     *  missed it. */
    uint32_t childsHealth = 0;
    /** The number of events that the callback has received. */
    int heard = 0;
};

/** An operation, with its allowed results. */
struct Road
{
    std::string name;

    /** Creates the state before the operation: nothing, or a component with
     *  faults. */
    std::function<void(Try&)> prepare;

    /** Sends messages to the component after prepare, for a road that runs in
     *  sd_bus_process(): the daemon, not the library, sees failures inside that
     *  function. */
    std::function<void(Try&)> send = {};

    /** Runs the operation.
     *
     *  @return its status */
    std::function<int(Try&)> run;

    /** The statuses that it may return after a call failed. */
    std::set<int> failures;

    /** The statuses that it may return when no call failed. */
    std::set<int> successes = {0};

    /** Whether the documentation allows it to throw SdBusError or
     *  std::bad_alloc. */
    bool throwsBusErrors = false;
    bool throwsBadAlloc = false;

    /** Whether the state after a successful run is right, given the states
     *  before and after. */
    std::function<bool(const View&, const View&)> done;

    /** Whether the state after a run that reported failure is allowed; by
     *  default, only the state before the run. */
    std::function<bool(const View&, const View&)> undone =
        [](const View& before, const View& after) {
            return before == after;
        };

    /** Repeats the operation after a failure, if that takes more than run:
     *  messages must be sent again. */
    std::function<int(Try&)> again = {};

    /** Whether the operation only logs a failure, so that its status says
     *  nothing. The test then only expects that bus and data cache agree. */
    bool keepsNoPromise = false;
};

inline std::ostream& operator<<(std::ostream& out, const Road& road)
{
    return out << road.name;
}

/** The roads of each part of the library. */
std::vector<Road> componentRoads();
std::vector<Road> visibilityRoads();
std::vector<Road> signalRoads();
std::vector<Road> eventRoads();
std::vector<Road> queryRoads();
std::vector<Road> plainRoads();

// The texts of the faults: longer than the short-string buffer, so that copies
// allocate memory, and built before any run, so that only the library's
// allocations fail.
inline const std::string critical = "Fans.1.0.FAN0001";
inline const std::string warning = "Fans.1.0.FAN0002";
inline const std::string another = "Fans.1.0.FAN0003";
inline const std::string firstSensor = "/sensors/chassis/fan1";
inline const std::string secondSensor = "/sensors/chassis/fan2";
inline const std::string thirdSensor = "/sensors/chassis/fan3";

/** Creates a component without faults. */
void withoutFaults(Try& tried);

/** Creates a component with three faults: two critical ones of the first
 *  sensor, whose number is 1, and between them a warning of the second. */
void withFaults(Try& tried);

/** The road of a signal that asks to hide faults. The component receives it
 *  when its connection is processed, even if a call failed after it was sent.
 */
inline Road sentHideRoad(const std::string& name,
                         const std::function<int(Try&)>& send)
{
    const auto always = [](const View&, const View&) {
        return true;
    };
    return {.name = name,
            .prepare = withFaults,
            .run = send,
            .failures = {},
            .throwsBusErrors = true,
            .throwsBadAlloc = true,
            .done = always,
            .undone = always};
}

/** Adds a fault by its text. */
int addFault(Try& tried, const std::string& message, const std::string& sensor,
             uint32_t sensorNumber, uint32_t severity);

} // namespace healthintf::test
