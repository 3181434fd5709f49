#pragma once

/** @file How full a filesystem is. */

#include <string>

namespace healthintf::hostmon
{

/** How much of a filesystem is used, in percent of what ordinary users may
 *  use, as df shows it.
 *
 *  @throws std::runtime_error when the folder cannot be asked */
double usedPercent(const std::string& folder);

} // namespace healthintf::hostmon
