#include "command_line.hpp"

#include "../common/empty_arguments.hpp"
#include "choices.hpp"
#include "error.hpp"
#include "output/line_output.hpp"

#include <cstdlib>
#include <ostream>
#include <sstream>
#include <utility>

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
    "5 anything else.\n"
    "\n"
    "\"healthctl COMMAND --help\" shows options and examples of a command.";

const Choices<ColorChoice>& colorChoices()
{
    static const Choices<ColorChoice> choices{{"auto", ColorChoice::automatic},
                                              {"always", ColorChoice::always},
                                              {"never", ColorChoice::never}};
    return choices;
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
}

CLI::App& CommandLine::add(const CommandText& text, Work work)
{
    return add(app, text, std::move(work));
}

CLI::App& CommandLine::add(CLI::App& parent, const CommandText& text, Work work)
{
    CLI::App& command = *parent.add_subcommand(text.name, text.summary);
    command.footer(text.more);
    command.add_flag("--json", json, "Write one JSON document");
    addChoice(command, "--color", color, colorChoices(),
              "When to colour: auto, always or never");
    command.add_flag("--user", userBus, "Use the user's own bus and folders");
    command.callback([this, work = std::move(work)] {
        chosen = work;
    });
    return command;
}

CLI::App& CommandLine::addGroup(const CommandText& text)
{
    CLI::App& command = *app.add_subcommand(text.name, text.summary);
    command.footer(text.more);
    command.require_subcommand(1);
    return command;
}

int CommandLine::run(int argc, const char* const* argv)
{
    try
    {
        app.parse(argc, argv);
        tools::refuseEmptyArguments(argc, argv);
        return static_cast<int>(work());
    }
    catch (const CLI::ParseError& e)
    {
        return static_cast<int>(refuse(e));
    }
    catch (const Error& e)
    {
        return static_cast<int>(fail(e.code(), e.what()));
    }
    catch (const std::exception& e)
    {
        return static_cast<int>(fail(ExitCode::failed, e.what()));
    }
}

ExitCode CommandLine::work()
{
    choosePlaces();
    // What fails becomes one line of ours, and not one of the log before it.
    setenv("HEALTHINTF_LOG_LEVEL", "0", 0);
    const ExitCode code = chosen(context());
    flush(out);
    return code;
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

Context CommandLine::context() const
{
    return {.out = out,
            .style = Style(!json && wantsColor(color), hasUnicode()),
            .width = terminalWidth(),
            .json = json};
}

ExitCode CommandLine::fail(ExitCode code, const std::string& line)
{
    out.flush();
    errors << "healthctl: " << host::printable(firstLine(line)) << '\n';
    return code;
}

ExitCode CommandLine::refuse(const CLI::ParseError& error)
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
    {
        tell(error);
        return ExitCode::ok;
    }
    // The word that is no command tells more than that there is none.
    const std::vector<std::string> words = app.remaining(true);
    const bool unknown = error.get_name() == "RequiredError" && !words.empty();
    return fail(ExitCode::usage,
                (unknown ? "there is no command \"" + words.front() + "\""
                         : firstLine(error.what())) +
                    "; see \"" + commandInUse() + " --help\"");
}

void CommandLine::tell(const CLI::ParseError& help)
{
    std::stringstream text;
    app.exit(help, text, text);
    for (std::string line; std::getline(text, line);)
    {
        writeLine(context(), line);
    }
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
