// SPDX-License-Identifier: Apache-2.0
/** @file Holds components and prints "ready". For each line of standard input,
 *  a number of rounds, adds a fault to one component and removes it that often,
 *  and prints "done" when the bus has delivered everything. Another program
 *  measures the time that the bus spends.
 *
 *  Usage: growth-bus COMPONENTS */

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using health_namespace::FaultAndHealth;
using health_namespace::statusOk;
using Component = std::unique_ptr<FaultAndHealth>;

std::vector<Component> makeComponents(sdbusplus::bus_t& bus,
                                      unsigned long count)
{
    std::vector<Component> components;
    for (unsigned long i = 0; i < count; ++i)
    {
        components.emplace_back(FaultAndHealth::Init(
            bus,
            ("/com/vexa/olvar/health/chassis/fan" + std::to_string(i)).c_str(),
            2, false));
        if (!components.back())
        {
            throw std::runtime_error("unable to make a component");
        }
        while (bus.process_discard())
        {}
    }
    return components;
}

void addAndRemove(FaultAndHealth& component)
{
    std::string id = "BenchmarkFault";
    std::string path = "/com/vexa/olvar/sensors/benchmark";
    if (component.addFault(id, path, {"fan 7", "rear"},
                           "System.Embedded.1#Fan.7", "cooling", 48, 4,
                           "The fan fan 7 in the rear failed.", 1,
                           "Fan 7 failed", 3) != statusOk ||
        component.removeFault(id, path) != statusOk)
    {
        throw std::runtime_error("unable to add and remove a fault");
    }
}

/** Waits until the bus has delivered what was sent before. */
void waitForBus(sdbusplus::bus_t& bus)
{
    auto question =
        bus.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                            "org.freedesktop.DBus", "GetId");
    bus.call(question);
    while (bus.process_discard())
    {}
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        return 2;
    }
    auto bus = sdbusplus::bus::new_default();
    const std::vector<Component> components =
        makeComponents(bus, std::strtoul(argv[1], nullptr, 10));
    waitForBus(bus);
    std::cout << "ready" << std::endl;
    for (unsigned long rounds = 0; std::cin >> rounds;)
    {
        for (unsigned long i = 0; i < rounds; ++i)
        {
            addAndRemove(*components.back());
            while (bus.process_discard())
            {}
        }
        waitForBus(bus);
        std::cout << "done" << std::endl;
    }
    // Leave the remaining objects to the bus; removing them one by one takes
    // long.
    std::_Exit(0);
}
