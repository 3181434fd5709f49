// SPDX-License-Identifier: Apache-2.0
/** @file Roads that create a component, change its faults, and destroy it. */

#include "road.hpp"
#include "world.hpp"

#include <algorithm>
#include <cstdint>

namespace healthintf::test
{
namespace
{

constexpr int made = 0;
constexpr int notMade = 1;

int make(Try& tried)
{
    // A component that got no record must be replaced by a new one.
    tried.component.reset();
    tried.component.reset(
        FaultAndHealth::Init(world().bus, tried.key, 2, false));
    return tried.component ? made : notMade;
}

// The interface takes these by non-const reference, but does not change them.
std::string criticalToRemove = critical;
std::string sensorToRemove = firstSensor;

int removeCritical(Try& tried)
{
    return tried.component->removeFault(criticalToRemove, sensorToRemove);
}

void withTenFaults(Try& tried)
{
    make(tried);
    for (uint32_t i = 0; i < FaultAndHealth::maxFaults; ++i)
    {
        addFault(tried, warning, secondSensor, 2, 2);
    }
}

// Arguments are built before the run: only calls of the library should fail.
const std::vector<std::string> oneArgument{"1"};

/** A fault of the message registry, in the library's types. */
struct Registered
{
    std::string message = "Test.1.0.Failed";
    std::string sensor = "/sensors/chassis/fan3";
    std::vector<std::string> arguments{"3"};
    std::string component = "System.Chassis.1#Fan.3";
    std::string part = "fans";
};
Registered registered;

int addRegistered(Try& tried)
{
    return tried.component->addFault(registered.message, registered.sensor,
                                     registered.arguments, registered.component,
                                     registered.part, 3, 4);
}

/** Whether there is one more fault, with this message, and nothing else
 *  changed. */
bool added(const View& before, const View& after, const std::string& message)
{
    return after.faults.size() == before.faults.size() + 1 &&
           after.count(message) == before.count(message) + 1;
}

/** Whether no fault was added and at most one was removed. */
bool gaveWay(const View& before, const View& after)
{
    return after.faults.size() + 1 >= before.faults.size() &&
           std::ranges::all_of(after.faults, [&](const auto& fault) {
               return before.faults.contains(fault.first);
           });
}

Road initRoad(const std::string& name, const std::string& below)
{
    return {.name = name,
            .prepare =
                [below](Try& tried) {
                    tried.key += below;
                },
            .run = make,
            .failures = {notMade},
            .done =
                [](const View&, const View& after) {
                    return after.faults.empty() && after.health == 2u;
                },
            .undone =
                [](const View&, const View& after) {
                    // A node that could not be subscribed or published stays
                    // registered.
                    return after.faults.empty();
                }};
}

int addAnother(Try& tried)
{
    return addFault(tried, another, thirdSensor, 3, 1);
}

} // namespace

int addFault(Try& tried, const std::string& message, const std::string& sensor,
             uint32_t sensorNumber, uint32_t severity)
{
    return tried.component->addFault(message, sensor, oneArgument, "Fan.1",
                                     "fans", sensorNumber, 4, "A fan failed.",
                                     severity, "Fan", 3);
}

void withoutFaults(Try& tried)
{
    make(tried);
}

void withFaults(Try& tried)
{
    make(tried);
    addFault(tried, critical, firstSensor, 1, 1);
    addFault(tried, warning, secondSensor, 2, 2);
    addFault(tried, critical, firstSensor, 1, 1);
}

std::vector<Road> componentRoads()
{
    return {
        initRoad("Init", ""),
        initRoad("InitWithoutParent", "/fan"),
        {.name = "addFault",
         .prepare = withFaults,
         .run = addAnother,
         .failures = {4},
         .done =
             [](const View& before, const View& after) {
                 return added(before, after, another);
             }},
        {.name = "addFaultByRegistry",
         .prepare = withoutFaults,
         .run = addRegistered,
         .failures = {4, 5},
         .done =
             [](const View& before, const View& after) {
                 return added(before, after, "Test.1.0.Failed");
             }},
        {.name = "addFaultEleventh",
         .prepare = withTenFaults,
         .run = addAnother,
         .failures = {4},
         .done =
             [](const View& before, const View& after) {
                 return after.faults.size() <= FaultAndHealth::maxFaults &&
                        after.count(another) == before.count(another) + 1;
             },
         .undone = gaveWay},
        {.name = "removeFault",
         .prepare = withFaults,
         .run = removeCritical,
         .failures = {},
         .done =
             [](const View& before, const View& after) {
                 return after.count(critical) == 0 &&
                        after.count(warning) == before.count(warning);
             }},
        {.name = "deleteFaultListAll",
         .prepare = withFaults,
         .run =
             [](Try& tried) {
                 tried.component->deleteFaultListAll();
                 return 0;
             },
         .failures = {},
         .throwsBusErrors = true,
         .done =
             [](const View&, const View& after) {
                 return after.faults.empty();
             },
         .undone =
             [](const View&, const View& after) {
                 return after.faults.empty();
             }},
        {.name = "destruction",
         .prepare = withFaults,
         .run =
             [](Try& tried) {
                 tried.component.reset();
                 return 0;
             },
         .failures = {},
         .done =
             [](const View&, const View& after) {
                 return after.empty();
             }},
    };
}

} // namespace healthintf::test
