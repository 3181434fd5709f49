// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The commands "lcd get" and "lcd set". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the commands about the settings of the front panel's LCD. */
void addLcd(CommandLine& commands);

} // namespace healthintf::healthctl
