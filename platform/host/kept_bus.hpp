#pragma once

/** @file A connection for what the platform says on the bus at any time. */

#include "bus_calls.hpp"

namespace healthintf::host
{

/** This thread's default connection, opened when there is none or when the
 *  bus has closed it, and kept until the thread ends: the bus forgets a message
 *  for a service that it still has to start when the sender goes away.
 *
 *  @throws std::system_error when there is no bus */
sd_bus* keptBus();

} // namespace healthintf::host
