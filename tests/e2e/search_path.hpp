// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Lists of folders in the environment. */

#include <cstdlib>
#include <string>

namespace healthintf::test
{

/** The folders that a variable lists, with another before them. */
inline std::string withFolder(const std::string& folder, const char* variable)
{
    const char* others = std::getenv(variable);
    return others == nullptr ? folder : folder + ":" + others;
}

/** Lets this process and the programs that it runs look into a folder before
 *  the others. */
inline void lookInto(const std::string& folder, const char* variable)
{
    setenv(variable, withFolder(folder, variable).c_str(), 1);
}

} // namespace healthintf::test
