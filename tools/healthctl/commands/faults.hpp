// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "faults". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that lists faults. */
void addFaults(CommandLine& commands);

} // namespace healthintf::healthctl
