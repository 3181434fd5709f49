// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What is never released on purpose, for those who look for leaks. */

#include <systemd/sd-bus.h>

#include <vector>

namespace healthintf::test
{

/** Keeps a connection in reach until the process ends, and with it a node that
 *  nobody holds any more. */
inline void keepForever(sd_bus* bus)
{
    static auto& kept = *new std::vector<sd_bus*>;
    kept.push_back(sd_bus_ref(bus));
}

} // namespace healthintf::test
