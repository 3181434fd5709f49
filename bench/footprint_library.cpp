// SPDX-License-Identifier: Apache-2.0
/** @file A daemon that holds components with faults, so that its memory can be
 *  measured. Prints "ready" and ends when standard input ends.
 *
 *  Usage: footprint-library COMPONENTS FAULTS-OF-EACH */

#include "loop.h"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using health_namespace::FaultAndHealth;
using Component = std::unique_ptr<FaultAndHealth>;

Component makeComponent(sdbusplus::bus_t& bus, int number)
{
    const std::string key =
        "/com/vexa/olvar/health/footprint_" + std::to_string(number);
    Component component(FaultAndHealth::Init(bus, key.c_str(), 2, false));
    if (!component)
    {
        throw std::runtime_error("unable to make a component");
    }
    return component;
}

void addFault(FaultAndHealth& component, int number)
{
    std::string messageId = "FootprintFault";
    std::string sensorPath =
        "/com/vexa/olvar/sensors/sensor_" + std::to_string(number);
    if (component.addFault(messageId, sensorPath, {"fan 7", "rear"},
                           "System.Embedded.1#Fan.7", "cooling", 48, 4,
                           "The fan fan 7 in the rear failed.", 1,
                           "Fan 7 failed", 3) != health_namespace::statusOk)
    {
        throw std::runtime_error("unable to add a fault");
    }
}

} // namespace

int main(int argc, char** argv)
{
    sd_bus* raw = nullptr;
    if (argc != 3 || sd_bus_default(&raw) < 0)
    {
        return 2;
    }
    sdbusplus::bus_t bus(raw, std::false_type());
    std::vector<Component> components(std::strtoul(argv[1], nullptr, 10));
    const int faults = std::atoi(argv[2]);
    int made = 0;
    for (Component& component : components)
    {
        component = makeComponent(bus, ++made);
        for (int i = 0; i < faults; ++i)
        {
            addFault(*component, i);
        }
    }
    serve(raw);
    return 0;
}
