// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Faults in a line each. */

#include "../context.hpp"
#include "../source/health_source.hpp"

#include <cstdint>

namespace healthintf::healthctl
{

/** Whether the output is a terminal that is wide enough for all of a fault in a
 *  line. */
bool isWideTerminal(const Context& context);

/** Writes a line for each fault: severity, time, component and message. The
 *  whole time and the message's identifier are in it as well, unless a terminal
 *  is too narrow.
 *
 *  @param[in] now the present time in seconds since the epoch */
void printShortFaults(const Context& context, const Faults& faults,
                      uint64_t now);

} // namespace healthintf::healthctl
