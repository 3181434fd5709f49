// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The commands of healthctl and what they have in common. */

#include "check_state.hpp"
#include "context.hpp"
#include "exit_code.hpp"
#include "output/terminal.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <iosfwd>
#include <map>
#include <set>
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
    /** Whether the output may be long and goes through a pager then. */
    bool paged = false;
};

/** Does what a command is for. */
using Work = std::function<ExitCode(const Context& context)>;

/** A command for monitoring systems, which read one line on standard output and
 *  the exit status of their own convention, whatever went wrong. */
struct Check
{
    /** Tells how things are. */
    std::function<CheckState(const Context& context)> run;
    /** Tells why nobody knows. */
    std::function<void(const Context& context, const std::string& why)>
        tellFailure;
};

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

    /** Adds a command that ends with a CheckState in place of an ExitCode. Its
     *  failures, wrong usage too, end with CheckState::unknown. */
    CLI::App& addCheck(const CommandText& text, Check check);

    /** Adds a command that only has others below it. */
    CLI::App& addGroup(const CommandText& text);

    /** Does what a command line asks for. Options that all commands have may
     *  stand in front of the command, and "help COMMAND" is "COMMAND --help".
     *
     *  @return the status to exit with */
    int run(int argc, const char* const* argv);

  private:
    /** Does what a command is for, and returns the status to exit with. */
    using Run = std::function<int(const Context& context)>;

    CLI::App& addRun(CLI::App& parent, const CommandText& text, Run run);
    void addCommonOptions(CLI::App& command);
    void addNoPager(CLI::App& command);
    int work();
    int runPaged(const std::string& pager);
    void choosePlaces() const;
    Context context(std::ostream& to) const;
    std::string chosenPager() const;
    int fail(ExitCode code, const std::string& line);
    int refuse(const CLI::ParseError& error);
    int tell(const CLI::ParseError& help);
    const CLI::App& appInUse() const;
    std::string commandInUse() const;

    std::ostream& out;
    std::ostream& errors;
    CLI::App app;
    /** The commands that are checks. */
    std::map<const CLI::App*, Check> checks;
    /** The commands whose output goes through a pager. */
    std::set<const CLI::App*> paged;
    Run chosen;
    bool json = false;
    bool noPager = false;
    bool userBus = false;
    ColorChoice color = ColorChoice::automatic;
};

} // namespace healthintf::healthctl
