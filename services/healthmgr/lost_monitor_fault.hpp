// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fault that healthmgr reports on a component whose daemon ended
 *  without giving it up. */

#include "lost_monitor_file.hpp"

#include <hmi_fault_health.hpp>

#include <cstdint>

namespace healthintf::healthmgr
{

/** The fault's severity, as the registry has it: 1 when a critical fault was
 *  among those that the daemon held, else 2. */
uint32_t chooseSeverity(const LostMonitor& monitor);

/** Reports the fault.
 *
 *  @return whether the node has it now; a failure is logged */
bool reportLostMonitor(health_namespace::FaultAndHealth& node,
                       const LostMonitor& monitor);

/** Takes the fault back, with any other of the node. A health that cannot be
 *  sent is logged. */
void withdrawLostMonitor(health_namespace::FaultAndHealth& node);

} // namespace healthintf::healthmgr
