// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks the processes that hold nodes whether they answer. */

#include "bus_probe.hpp"
#include "tree_findings.hpp"

#include <cstdint>
#include <set>

namespace healthintf::healthctl
{

/** Asks the connections of all processes with records of nodes at once. A
 *  process is silent when a connection of it does not answer in time and the
 *  others do not show its nodes. A process is absent when it has no connection.
 *
 *  @param[in] others processes that are not asked */
HolderStates probeHolders(const BusProbe& bus,
                          const std::set<uint32_t>& others);

/** Asks all connections at once, where the records cannot be read.
 *
 *  @param[in] others processes that are not named */
HolderStates probeConnections(const BusProbe& bus,
                              const std::set<uint32_t>& others);

} // namespace healthintf::healthctl
