// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Command lines with arguments that are empty. */

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>

namespace healthintf::services
{

/** Whether an argument is an option's name with "=" and no value behind it:
 *  the parser would take the next argument for the value. */
inline bool lacksValue(std::string_view argument)
{
    return argument.starts_with("--") &&
           argument.find('=') + 1 == argument.size();
}

/** Refuses a command line with an empty argument. Nothing has an empty value,
 *  and a script whose variable is not set must not get the default instead.
 *
 *  @throws CLI::ValidationError naming the argument before the empty one */
inline void refuseEmptyArguments(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string argument = argv[i];
        if (argument.empty())
        {
            throw CLI::ValidationError(i == 1 ? "the first argument is empty"
                                              : "the argument after \"" +
                                                    std::string(argv[i - 1]) +
                                                    "\" is empty");
        }
        if (lacksValue(argument))
        {
            throw CLI::ValidationError("\"" + argument + "\" has no value");
        }
    }
}

} // namespace healthintf::services
