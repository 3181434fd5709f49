#pragma once

/** @file A component in the hands of a fuzzer. */

#include "own_bus.hpp"
#include "surroundings.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <memory>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

/** A component on a connection of its own to the private bus. */
class ComponentHarness
{
  public:
    using FaultAndHealth = health_namespace::FaultAndHealth;

    inline static const std::string key = "/com/vexa/olvar/health/a";

    ComponentHarness() :
        bus((surroundings(), openBus())),
        component(FaultAndHealth::Init(bus, key, 2, false))
    {
        if (!component)
        {
            throw std::runtime_error("unable to make the component");
        }
    }

    /** Takes what has arrived. */
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

    sdbusplus::bus_t bus;
    std::unique_ptr<FaultAndHealth> component;
};

} // namespace healthintf::test
