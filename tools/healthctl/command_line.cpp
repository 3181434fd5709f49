// SPDX-License-Identifier: Apache-2.0
#include "command_line.hpp"

#include "../../services/common/empty_arguments.hpp"
#include "choices.hpp"
#include "error.hpp"
#include "output/line_output.hpp"
#include "output/pager.hpp"

#include <cstdlib>
#include <ostream>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <directories.hpp>
#include <printable.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr const char* summary =
    "Shows and changes what the health tree of this machine says.";

constexpr const char* footer =
    "Exit status: 0 done; 1 nothing found, or not all is well; 2 wrong usage;\n"
    "3 nothing runs (no bus, service or data cache); 4 not permitted;\n"
    "5 anything else; 6 no such component, fault, entry or the like.\n"
    "\"check\" ends as monitoring plugins do: 0 OK, 1 warning, 2 critical,\n"
    "3 unknown.\n"
    "\n"
    "\"healthctl help COMMAND\" shows options and examples of a command.";

const Choices<ColorChoice>& colorChoices()
{
    static const Choices<ColorChoice> choices{{"auto", ColorChoice::automatic},
                                              {"always", ColorChoice::always},
                                              {"never", ColorChoice::never}};
    return choices;
}

/** The words of a command line, "help COMMAND" as "COMMAND --help". */
std::vector<const char*> withHelpOption(int argc, const char* const* argv)
{
    std::vector<const char*> words(argv, argv + argc);
    if (argc > 1 && std::string_view(argv[1]) == "help")
    {
        words.erase(words.begin() + 1);
        words.push_back("--help");
    }
    return words;
}

/** The first line of a text: an error is one line, whatever it came from. */
std::string firstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

} // namespace

CommandLine::CommandLine(std::ostream& out, std::ostream& errors) :
    out(out), errors(errors), app(summary, "healthctl")
{
    app.set_version_flag("--version", HEALTHINTF_VERSION);
    app.require_subcommand(1);
    app.footer(footer);
    addCommonOptions(app);
    addNoPager(app);
}

CLI::App& CommandLine::add(const CommandText& text, Work work)
{
    return add(app, text, std::move(work));
}

CLI::App& CommandLine::add(CLI::App& parent, const CommandText& text, Work work)
{
    return addRun(parent, text, [work = std::move(work)](const Context& at) {
        return static_cast<int>(work(at));
    });
}

CLI::App& CommandLine::addCheck(const CommandText& text, Check check)
{
    CLI::App& command = addRun(app, text, [run = check.run](const Context& at) {
        return static_cast<int>(run(at));
    });
    checks.emplace(&command, std::move(check));
    return command;
}

CLI::App& CommandLine::addRun(CLI::App& parent, const CommandText& text,
                              Run run)
{
    CLI::App& command = *parent.add_subcommand(text.name, text.summary);
    command.footer(text.more);
    addCommonOptions(command);
    if (text.paged)
    {
        paged.insert(&command);
        addNoPager(command);
    }
    command.callback([this, &command, run = std::move(run)] {
        // A command below this one was chosen instead.
        if (command.get_subcommands().empty())
        {
            chosen = run;
        }
    });
    return command;
}

void CommandLine::addCommonOptions(CLI::App& command)
{
    command.add_flag("--json", json, "Write one JSON document");
    addChoice(command, "--color", color, colorChoices(),
              "When to colour: auto, always or never");
    command.add_flag("--user", userBus, "Use the user's own bus and folders");
}

void CommandLine::addNoPager(CLI::App& command)
{
    command.add_flag("--no-pager", noPager, "Write long output at once");
}

CLI::App& CommandLine::addGroup(const CommandText& text)
{
    CLI::App& command = *app.add_subcommand(text.name, text.summary);
    command.footer(text.more);
    command.require_subcommand(1);
    addCommonOptions(command);
    return command;
}

int CommandLine::run(int argc, const char* const* argv)
{
    try
    {
        const std::vector<const char*> words = withHelpOption(argc, argv);
        app.parse(static_cast<int>(words.size()), words.data());
        services::refuseEmptyArguments(argc, argv);
        return work();
    }
    catch (const CLI::ParseError& e)
    {
        return refuse(e);
    }
    catch (const Error& e)
    {
        return fail(e.code(), e.what());
    }
    catch (const std::exception& e)
    {
        return fail(ExitCode::failed, e.what());
    }
}

int CommandLine::work()
{
    choosePlaces();
    // What fails becomes one line of ours, and not one of the log before it.
    setenv("HEALTHINTF_LOG_LEVEL", "0", 0);
    const std::string pager = chosenPager();
    const int status = pager.empty() ? chosen(context(out)) : runPaged(pager);
    flush(out);
    return status;
}

std::string CommandLine::chosenPager() const
{
    const CLI::App& command = appInUse();
    // A pager would show what is to come only at its end.
    const CLI::Option* follow = command.get_option_no_throw("--follow");
    const bool follows = follow != nullptr && follow->count() > 0;
    return paged.contains(&command) && !noPager && !follows ? choosePager()
                                                            : "";
}

int CommandLine::runPaged(const std::string& pager)
{
    std::ostringstream text;
    try
    {
        const int status = chosen(context(text));
        showPaged(text.str(), pager, terminalLines(), out);
        return status;
    }
    catch (const std::exception&)
    {
        out << text.str();
        throw;
    }
}

void CommandLine::choosePlaces() const
{
    // A shell runs in a user's slice, where libsystemd takes the user's bus for
    // the default one; the daemons are on the system's.
    setenv("DBUS_STARTER_BUS_TYPE", userBus ? "user" : "system", 1);
    if (!userBus)
    {
        setenv("HEALTHINTF_RUNTIME_DIR", host::systemRuntimeDirectory, 0);
        setenv("HEALTHINTF_STATE_DIR", host::systemStateDirectory, 0);
    }
}

Context CommandLine::context(std::ostream& to) const
{
    return {.out = to,
            .style = Style(!json && wantsColor(color), hasUnicode()),
            .width = terminalWidth(),
            .json = json};
}

int CommandLine::fail(ExitCode code, const std::string& line)
{
    const auto check = checks.find(&appInUse());
    const bool isCheck = check != checks.end();
    if (isCheck)
    {
        check->second.tellFailure(context(out), firstLine(line));
    }
    // A check's line that cannot be written must not be lost.
    if (!out.flush() || !isCheck)
    {
        errors << "healthctl: " << host::printable(firstLine(line)) << '\n';
    }
    return isCheck ? static_cast<int>(CheckState::unknown)
                   : static_cast<int>(code);
}

int CommandLine::refuse(const CLI::ParseError& error)
{
    // The word that is no command tells more than that there is none, and than
    // the help of others.
    const std::vector<std::string> words = app.remaining(true);
    const bool unknown = appInUse().get_require_subcommand_min() > 0 &&
                         !words.empty() && !words.front().starts_with('-');
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success) &&
        !unknown)
    {
        return tell(error);
    }
    return fail(ExitCode::usage,
                (unknown ? "there is no command \"" + words.front() + "\""
                         : firstLine(error.what())) +
                    "; see \"" + commandInUse() + " --help\"");
}

int CommandLine::tell(const CLI::ParseError& help)
{
    std::stringstream text;
    app.exit(help, text, text);
    for (std::string line; std::getline(text, line);)
    {
        writeLine(context(out), line);
    }
    try
    {
        flush(out);
    }
    catch (const Error& e)
    {
        return fail(e.code(), e.what());
    }
    return static_cast<int>(ExitCode::ok);
}

const CLI::App& CommandLine::appInUse() const
{
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty())
    {
        at = at->get_subcommands().front();
    }
    return *at;
}

std::string CommandLine::commandInUse() const
{
    std::string name = "healthctl";
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty())
    {
        at = at->get_subcommands().front();
        name += " " + at->get_name();
    }
    return name;
}

} // namespace healthintf::healthctl
