// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "history" and what is below it. */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that lists, follows, sums up and draws the history of
 *  faults, and the one below it that clears it. */
void addHistory(CommandLine& commands);

} // namespace healthintf::healthctl
