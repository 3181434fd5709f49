#pragma once

/** @file The text of a message with its arguments filled in. */

#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** Puts arguments in the places of %1, %2, …; a placeholder without an
 *  argument becomes nothing, and any other percent sign stays. */
std::string fillArguments(std::string_view text,
                          const std::vector<std::string_view>& arguments);

} // namespace healthintf::host
