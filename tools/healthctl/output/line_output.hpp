// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Single lines and named values for people. */

#include "../context.hpp"

#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthctl
{

/** Writes a line; a terminal that is too narrow for it gets several, each with
 *  the blanks that the first one begins with. */
void writeLine(const Context& context, const std::string& text,
               Tone tone = Tone::plain);

/** Writes names and their values below each other. */
void writeFields(
    const Context& context,
    const std::vector<std::pair<std::string, std::string>>& fields);

} // namespace healthintf::healthctl
