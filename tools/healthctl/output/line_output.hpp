// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Single lines and named values for people. */

#include "../context.hpp"
#include "table.hpp"

#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthctl
{

/** Writes a line; a terminal that is too narrow for it gets several, each with
 *  the blanks that the first one begins with. */
void writeLine(const Context& context, const std::string& text,
               Tone tone = Tone::plain);

/** Names and their values. */
using Fields = std::vector<std::pair<std::string, std::string>>;

/** Adds names and their values below each other, behind a margin. */
void addFields(Table& table, const std::string& margin, const Fields& fields);

/** Writes names and their values below each other. */
void writeFields(const Context& context, const Fields& fields);

} // namespace healthintf::healthctl
