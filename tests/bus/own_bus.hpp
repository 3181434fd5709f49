// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A connection for the library in the test's process. */

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <stdexcept>
#include <type_traits>

namespace healthintf::test
{

/** @throws std::runtime_error when there is no bus */
inline sdbusplus::bus_t openBus()
{
    sd_bus* opened = nullptr;
    if (sd_bus_open(&opened) < 0)
    {
        throw std::runtime_error("unable to connect to the bus");
    }
    return sdbusplus::bus_t(opened, std::false_type());
}

} // namespace healthintf::test
