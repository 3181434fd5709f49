// SPDX-License-Identifier: Apache-2.0
/** @file Repeatedly adds a fault to a component and removes it, in a process
 *  that holds many other faults. Measures only the adding.
 *
 *  Usage: growth-add FAULTS ROUNDS */

#include "step_meter.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using health_namespace::FaultAndHealth;
using health_namespace::statusOk;
using Component = std::unique_ptr<FaultAndHealth>;

Component makeComponent(sdbusplus::bus_t& bus, const std::string& name)
{
    Component component(FaultAndHealth::Init(
        bus, "/com/vexa/olvar/health/chassis/" + name, 2, false));
    if (!component)
    {
        throw std::runtime_error("unable to make a component");
    }
    return component;
}

std::string sensorPath(unsigned long number)
{
    return "/com/vexa/olvar/sensors/fan" + std::to_string(number);
}

void addFault(FaultAndHealth& component, unsigned long number)
{
    if (component.addFault("BenchmarkFault", sensorPath(number),
                           {"fan 7", "rear"}, "System.Embedded.1#Fan.7",
                           "cooling", 48, 4,
                           "The fan fan 7 in the rear failed.", 1,
                           "Fan 7 failed", 3) != statusOk)
    {
        throw std::runtime_error("unable to add a fault");
    }
}

void removeFault(FaultAndHealth& component, unsigned long number)
{
    std::string id = "BenchmarkFault";
    std::string path = sensorPath(number);
    component.removeFault(id, path);
}

/** Makes @p count faults on as few components as can hold them. */
std::vector<Component> makeFaults(sdbusplus::bus_t& bus, unsigned long count)
{
    constexpr unsigned long faultsOfAComponent = 10;
    std::vector<Component> components;
    for (unsigned long i = 0; i < count; ++i)
    {
        if (i % faultsOfAComponent == 0)
        {
            components.push_back(
                makeComponent(bus, "fan" + std::to_string(components.size())));
        }
        addFault(*components.back(), i);
        while (bus.process_discard())
        {}
    }
    return components;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        return 2;
    }
    const unsigned long count = std::strtoul(argv[1], nullptr, 10);
    const long rounds = std::atol(argv[2]);
    auto bus = sdbusplus::bus::new_default();
    const std::vector<Component> others = makeFaults(bus, count);
    const Component component = makeComponent(bus, "measured");
    bus.flush();
    healthintf::bench::StepMeter meter;
    for (long i = 0; i < rounds; ++i)
    {
        meter.take([&] {
            addFault(*component, count);
        });
        removeFault(*component, count);
        bus.flush();
    }
    meter.print();
    std::fflush(stdout);
    // Leave the remaining objects to the bus; removing them one by one takes
    // long.
    std::_Exit(0);
}
