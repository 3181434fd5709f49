// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the help texts of programs. */

#include "process.hpp"

#include <sstream>
#include <string>
#include <vector>

namespace healthintf::test
{

/** The help text of a program or of one of its commands. */
inline std::string readHelp(std::vector<std::string> command)
{
    command.emplace_back("--help");
    return readOutput(command);
}

/** The commands that a help text lists. */
inline std::vector<std::string> commandsIn(const std::string& help)
{
    std::istringstream lines(help);
    std::string line;
    while (line != "Subcommands:" && std::getline(lines, line))
    {}
    std::vector<std::string> commands;
    while (std::getline(lines, line) && line.starts_with("  "))
    {
        commands.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return commands;
}

} // namespace healthintf::test
