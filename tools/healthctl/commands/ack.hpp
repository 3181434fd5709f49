// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command "ack". */

#include "../command_line.hpp"

namespace healthintf::healthctl
{

/** Adds the command that acknowledges faults. */
void addAck(CommandLine& commands);

} // namespace healthintf::healthctl
