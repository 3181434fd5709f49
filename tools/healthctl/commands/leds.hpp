// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "leds". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that tells which LED states are asked for. */
void addLeds(CommandLine& commands);

} // namespace healthintf::healthctl
