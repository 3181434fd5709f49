// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "check". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that tells monitoring systems how a component is. */
void addCheck(CommandLine& commands);

} // namespace healthintf::healthctl
