// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The connection on which the platform calls services. */

#include "bus_calls.hpp"

namespace healthintf::host
{

/** Returns this thread's default connection; opens it when there is none or
 *  when the bus has closed it. It stays open until the thread ends: the bus
 *  drops a message for a service that it still has to start when the sender
 *  disconnects.
 *
 *  @throws std::system_error when there is no bus */
sd_bus* threadBus();

} // namespace healthintf::host
