// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "count". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that counts visible and hidden faults. */
void addCount(CommandLine& commands);

} // namespace healthintf::healthctl
