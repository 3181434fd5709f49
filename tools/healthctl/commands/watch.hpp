// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "watch". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that shows the health tree as it changes. */
void addWatch(CommandLine& commands);

} // namespace healthintf::healthctl
