// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The commands "hide" and "unhide". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that asks all components to hide faults. */
void addHide(CommandLine& commands);

/** Adds the command that asks them to show faults again. */
void addUnhide(CommandLine& commands);

} // namespace healthintf::healthctl
