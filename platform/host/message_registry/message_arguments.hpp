// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Fills arguments into the text of a message. */

#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** Replaces %1, %2, … by the arguments. A placeholder without an argument is
 *  removed; other percent signs stay. */
std::string fillArguments(std::string_view text,
                          const std::vector<std::string_view>& arguments);

} // namespace healthintf::host
