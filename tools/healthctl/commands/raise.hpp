// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The commands "raise" and "clear". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that raises a fault which no daemon reports. */
void addRaise(CommandLine& commands);

/** Adds the command that ends raised faults. */
void addClear(CommandLine& commands);

} // namespace healthintf::healthctl
