// SPDX-License-Identifier: Apache-2.0
/** @file One process of a chain of the library's nodes. Prints "ready" when it
 *  listens and ends when standard input ends.
 *
 *  Usage: hop-library KEY */

#include "loop.h"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <memory>

int main(int argc, char** argv)
{
    using health_namespace::FaultAndHealth;

    sd_bus* raw = nullptr;
    if (argc != 2 || sd_bus_default(&raw) < 0)
    {
        return 2;
    }
    sdbusplus::bus_t bus(raw, std::false_type());
    const std::unique_ptr<FaultAndHealth> component(
        FaultAndHealth::Init(bus, argv[1], 2, false));
    if (!component)
    {
        return 1;
    }
    serve(raw);
    return 0;
}
