// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The commands of healthctl and what they have in common. */

#include "context.hpp"
#include "exit_code.hpp"
#include "output/terminal.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <iosfwd>
#include <string>

namespace healthintf::healthctl
{

/** What --help says of a command. */
struct CommandText
{
    std::string name;
    /** One line, with a full stop. */
    std::string summary;
    /** What else there is to know, and examples: whole lines of at most 80
     *  columns. */
    std::string more;
};

/** Does what a command is for. */
using Work = std::function<ExitCode(const Context& context)>;

/** The command line: commands are added, then one of them is run. */
class CommandLine
{
  public:
    /** @param[in] out where commands write
     *  @param[in] errors where the line about a failure goes */
    CommandLine(std::ostream& out, std::ostream& errors);

    /** Adds a command with the options that all have.
     *
     *  @param[in] work runs when the command was chosen; what it keeps its
     *             options in must live as long, so it best holds them itself
     *  @return for the command's own options; belongs to this object */
    CLI::App& add(const CommandText& text, Work work);

    /** Adds a command below another, as "get" below "lcd". */
    CLI::App& add(CLI::App& parent, const CommandText& text, Work work);

    /** Adds a command that only has others below it. */
    CLI::App& addGroup(const CommandText& text);

    /** Does what a command line asks for. Options that all commands have may
     *  stand in front of the command, and "help COMMAND" is "COMMAND --help".
     *
     *  @return the status to exit with */
    int run(int argc, const char* const* argv);

  private:
    void addCommonOptions(CLI::App& command);
    ExitCode work();
    void choosePlaces() const;
    Context context() const;
    ExitCode fail(ExitCode code, const std::string& line);
    ExitCode refuse(const CLI::ParseError& error);
    ExitCode tell(const CLI::ParseError& help);
    const CLI::App& appInUse() const;
    std::string commandInUse() const;

    std::ostream& out;
    std::ostream& errors;
    CLI::App app;
    Work chosen;
    bool json = false;
    bool userBus = false;
    ColorChoice color = ColorChoice::automatic;
};

} // namespace healthintf::healthctl
