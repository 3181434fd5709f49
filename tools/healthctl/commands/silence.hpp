// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The commands "silence". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the commands that hide faults for a time. */
void addSilence(CommandLine& commands);

} // namespace healthintf::healthctl
