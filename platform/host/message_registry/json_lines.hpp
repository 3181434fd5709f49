// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds the line of a value in a JSON text, for error messages. */

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** The line of a byte; the first line is 1. */
std::size_t countLinesUpTo(std::string_view text, std::size_t byte);

/** The line of a key, given by the path of keys to it, outermost first. When
 *  the path ends early, the line of the last key that exists; 1 when none
 *  does. */
std::size_t findLineOfKeys(std::string_view text,
                           const std::vector<std::string>& keys);

/** Describes an error of the JSON parser: the line, if it is known, and the
 *  cause. */
std::string describeJsonError(std::string_view text,
                              const nlohmann::json::exception& found);

} // namespace healthintf::host
