// SPDX-License-Identifier: Apache-2.0
/** @file Repeatedly makes a component and deletes it. Measures only the making.
 *
 *  Usage: growth-start KEY ROUNDS */

#include "step_meter.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdlib>
#include <memory>
#include <stdexcept>

int main(int argc, char** argv)
{
    using health_namespace::FaultAndHealth;

    if (argc != 3)
    {
        return 2;
    }
    const long rounds = std::atol(argv[2]);
    auto bus = sdbusplus::bus::new_default();
    std::unique_ptr<FaultAndHealth> component;
    const auto make = [&] {
        component.reset(FaultAndHealth::Init(bus, argv[1], 2, false));
        if (!component)
        {
            throw std::runtime_error("unable to make a component");
        }
    };
    // Not measured: the first component also opens the data cache.
    make();
    component.reset();
    healthintf::bench::StepMeter meter;
    for (long i = 0; i < rounds; ++i)
    {
        meter.take(make);
        component.reset();
    }
    meter.print();
    return 0;
}
