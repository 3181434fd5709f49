// SPDX-License-Identifier: Apache-2.0
/** @file Repeatedly adds and removes one fault through the library, on this
 *  thread's default bus and the host's data cache.
 *
 *  Usage: add-remove-library ROUNDS */

#include "stopwatch.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace
{

using health_namespace::FaultAndHealth;

void addAndRemove(FaultAndHealth& component)
{
    std::string messageId = "BenchmarkFault";
    std::string sensorPath = "/com/vexa/olvar/sensors/benchmark";
    const int added = component.addFault(
        messageId, sensorPath, {"fan 7", "rear"}, "System.Embedded.1#Fan.7",
        "cooling", 48, 4, "The fan fan 7 in the rear failed.", 1,
        "Fan 7 failed", 3);
    if (added != health_namespace::statusOk ||
        component.removeFault(messageId, sensorPath) !=
            health_namespace::statusOk)
    {
        std::fprintf(stderr, "unable to add and remove a fault\n");
        std::exit(1);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const long rounds = argc > 1 ? std::atol(argv[1]) : 1000;
    auto bus = sdbusplus::bus::new_default();
    const std::unique_ptr<FaultAndHealth> component(FaultAndHealth::Init(
        bus, "/com/vexa/olvar/health/benchmark", 2, false));
    if (!component)
    {
        return 1;
    }
    healthintf::bench::Stopwatch stopwatch;
    for (long i = 0; i < rounds; ++i)
    {
        addAndRemove(*component);
    }
    bus.flush();
    stopwatch.print(rounds);
    return 0;
}
