#pragma once

/** @file Where something stands in a JSON text, for messages to whoever wrote
 *  it. */

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** The line of a byte, the first line being 1. */
std::size_t lineOfByte(std::string_view text, std::size_t byte);

/** The line of a key, given with the keys that it stands under, outermost
 *  first. Of keys that are not there, the line of the last that is; 1 without
 *  any. */
std::size_t lineOfKeys(std::string_view text,
                       const std::vector<std::string>& keys);

/** What is wrong with a text in which json found no valid JSON: the line, as
 *  far as it is known, and the cause. */
std::string problemOf(std::string_view text,
                      const nlohmann::json::exception& found);

} // namespace healthintf::host
