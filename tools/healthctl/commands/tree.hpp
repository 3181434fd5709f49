// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "tree". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that draws the health tree. */
void addTree(CommandLine& commands);

} // namespace healthintf::healthctl
