// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Something that a daemon does with the library, on which calls are made
 *  to fail. */

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

/** What one try works on. */
struct Try
{
    /** A key that no try had before. */
    std::string key;
    std::unique_ptr<FaultAndHealth> component;
    std::unique_ptr<logmgr_interface::SELAndFault> events;
    /** The worst that a child has told, which the component may have missed. */
    uint32_t childsHealth = 0;
    /** What was heard of events. */
    int heard = 0;
};

/** What is done, with all that is known of its end. */
struct Road
{
    std::string name;

    /** Before it: nothing, or a component with faults. */
    std::function<void(Try&)> prepare;

    /** What is sent to the component after that, if the road is run by
     *  messages: sd_bus_process() takes them, and what fails inside that is the
     *  daemon's to see. */
    std::function<void(Try&)> send = {};

    /** The road itself; its status. */
    std::function<int(Try&)> run;

    /** What it may answer when a call has failed. */
    std::set<int> failures;

    /** What it answers when none has. */
    std::set<int> successes = {0};

    /** Whether the documents let SdBusError, or std::bad_alloc, out. */
    bool throwsBusErrors = false;
    bool throwsBadAlloc = false;

    /** Whether it is what it should be after a run that ended well. The first
     *  view is of before the run. */
    std::function<bool(const View&, const View&)> done;

    /** Whether it is what it may be after a run that said that it failed: as
     *  before, unless said otherwise. */
    std::function<bool(const View&, const View&)> undone =
        [](const View& before, const View& after) {
            return before == after;
        };

    /** The same operation after a run with a failure, if it is not run itself:
     *  messages are sent again. */
    std::function<int(Try&)> again = {};

    /** Whether its status says nothing of a failure, which is logged instead:
     *  only that all agree can be asked then. */
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

// The texts of the faults, too long to be kept without memory of their own, and
// made before any run: the failures are for the library.
inline const std::string critical = "Fans.1.0.FAN0001";
inline const std::string warning = "Fans.1.0.FAN0002";
inline const std::string another = "Fans.1.0.FAN0003";
inline const std::string firstSensor = "/sensors/chassis/fan1";
inline const std::string secondSensor = "/sensors/chassis/fan2";
inline const std::string thirdSensor = "/sensors/chassis/fan3";

/** Makes a component without faults. */
void withoutFaults(Try& tried);

/** Makes a component with three faults: two critical ones of the first sensor,
 *  whose number is 1, and between them a warning of the second. */
void withFaults(Try& tried);

/** The road of a signal that asks to hide faults. The component hears it when
 *  its connection is worked on, also one that was sent before a call failed. */
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
