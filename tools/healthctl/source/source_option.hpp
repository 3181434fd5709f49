// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The option that says where to read. */

#include "health_source.hpp"

#include <CLI/CLI.hpp>

namespace healthintf::healthctl
{

/** Adds --source to a command.
 *
 *  @param[out] choice what is chosen; must live until the command has run */
void addSourceOption(CLI::App& command, SourceChoice& choice);

} // namespace healthintf::healthctl
