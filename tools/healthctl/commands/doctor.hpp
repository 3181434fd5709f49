// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "doctor". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that looks for what may be wrong with the installation. */
void addDoctor(CommandLine& commands);

} // namespace healthintf::healthctl
