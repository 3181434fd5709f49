// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A component that processes a fuzzer's messages. */

#include "surroundings.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <memory>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

/** This thread's default connection to the private bus; the platform's
 *  notifications arrive here too. */
inline sdbusplus::bus_t& daemonBus()
{
    surroundings();
    static auto bus = sdbusplus::bus::new_default();
    return bus;
}

/** A component of a daemon that runs one connection. */
class ComponentHarness
{
  public:
    using FaultAndHealth = health_namespace::FaultAndHealth;

    inline static const std::string key = "/com/vexa/olvar/health/a";

    ComponentHarness() : component(FaultAndHealth::Init(bus, key, 2, false))
    {
        if (!component)
        {
            throw std::runtime_error("unable to make the component");
        }
    }

    /** Processes the messages that have arrived. */
    void work()
    {
        while (bus.process_discard())
        {}
    }

    int addFault() const
    {
        return component->addFault("FAN0001", "/sensors/fan1", {"1"}, "Fan.1",
                                   "sub", 48, 4, "Fan 1 failed.", 4, "Fan 1",
                                   3);
    }

    sdbusplus::bus_t& bus = daemonBus();
    std::unique_ptr<FaultAndHealth> component;
};

} // namespace healthintf::test
