// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "top". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that lists the most important faults. */
void addTop(CommandLine& commands);

} // namespace healthintf::healthctl
