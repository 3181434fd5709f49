// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "dismiss". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that dismisses the lost monitor of a component. */
void addDismiss(CommandLine& commands);

} // namespace healthintf::healthctl
