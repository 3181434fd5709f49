// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps objects that are never released, so that leak checkers can still
 *  reach them. */

#include <systemd/sd-bus.h>

#include <vector>

namespace healthintf::test
{

/** Keeps a connection reachable until the process ends, and with it the nodes
 *  registered on it that have no other owner. */
inline void keepForever(sd_bus* bus)
{
    static auto& kept = *new std::vector<sd_bus*>;
    kept.push_back(sd_bus_ref(bus));
}

} // namespace healthintf::test
