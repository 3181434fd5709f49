// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "explain". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that explains a message. */
void addExplain(CommandLine& commands);

} // namespace healthintf::healthctl
