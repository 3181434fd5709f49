#pragma once

/** @file Runs a script as its user does. */

#include "process.hpp"

#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{

struct ScriptResult
{
    int status;
    std::string output;
};

/** Runs a script to its end.
 *
 *  @param[in] command the script and its arguments
 *  @param[in] environment settings of the form NAME=value */
inline ScriptResult runScript(const std::vector<std::string>& command,
                              const std::vector<std::string>& environment = {})
{
    Process script(command, environment);
    std::string output = script.output();
    return {script.wait(), std::move(output)};
}

} // namespace healthintf::test
