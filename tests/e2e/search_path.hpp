// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Search paths in environment variables. */

#include <cstdlib>
#include <string>

namespace healthintf::test
{

/** The folders that a variable lists, with @p folder first. */
inline std::string withFolder(const std::string& folder, const char* variable)
{
    const char* others = std::getenv(variable);
    return others == nullptr ? folder : folder + ":" + others;
}

/** Puts a folder first in the search path of this process and the programs that
 *  it runs. */
inline void lookInto(const std::string& folder, const char* variable)
{
    setenv(variable, withFolder(folder, variable).c_str(), 1);
}

} // namespace healthintf::test
