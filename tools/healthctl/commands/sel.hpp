// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The commands below "sel": the System Event Log. */

#include "../command_line.hpp"

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** Adds the commands that list, show, add, clear, export and import the log's
 *  entries, and tell of the log as a whole. */
void addSel(CommandLine& commands);

/** Adds below @p sel the command that lists entries, those that add and clear
 *  them, and those for files. */
void addSelList(CommandLine& commands, CLI::App& sel);
void addSelChanges(CommandLine& commands, CLI::App& sel);
void addSelTransfer(CommandLine& commands, CLI::App& sel);

/** Says behind a number of entries up to which one they go; nothing without
 *  one.
 *
 *  @param[in] last its identifier, or 0 */
inline std::string upTo(uint16_t last)
{
    return last == 0 ? "" : ", up to entry " + std::to_string(last);
}

} // namespace healthintf::healthctl
