// SPDX-License-Identifier: Apache-2.0
#include "command_line.hpp"
#include "error.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <directories.hpp>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

class CommandLineTest : public testing::Test
{
  protected:
    /** Runs a program with the command "work" and the nested command "lcd get".
     */
    int run(std::vector<const char*> words, const Work& work)
    {
        CommandLine commands(out, errors);
        commands.add({"work", "Works.", "Examples:\n  healthctl work"}, work);
        CLI::App& group = commands.addGroup({"lcd", "Groups.", ""});
        commands.add(group, {"get", "Gets.", ""}, work);
        words.insert(words.begin(), "healthctl");
        return commands.run(static_cast<int>(words.size()), words.data());
    }

    std::ostringstream out;
    std::ostringstream errors;
};

ExitCode good(const Context& context)
{
    context.out << (context.json ? "json" : "text");
    return ExitCode::ok;
}

TEST_F(CommandLineTest, RunsTheCommandThatWasChosen)
{
    EXPECT_EQ(run({"work"}, good), 0);
    EXPECT_EQ(run({"lcd", "get", "--json"}, good), 0);
    EXPECT_EQ(out.str(), "textjson");
}

TEST_F(CommandLineTest, RunsTheCommandBelowInPlaceOfTheOneAbove)
{
    CommandLine commands(out, errors);
    const auto write = [](const char* text) {
        return [text](const Context& context) {
            context.out << text;
            return ExitCode::ok;
        };
    };
    CLI::App& above = commands.add({"list", "Lists.", ""}, write("above"));
    commands.add(above, {"clear", "Clears.", ""}, write("below"));
    const std::vector<const char*> words{"healthctl", "list", "clear"};
    EXPECT_EQ(commands.run(3, words.data()), 0);
    EXPECT_EQ(commands.run(2, words.data()), 0);
    EXPECT_EQ(out.str(), "belowabove");
}

TEST_F(CommandLineTest, ExitsWithTheCommandsExitCode)
{
    EXPECT_EQ(run({"work"},
                  [](const Context&) {
                      return ExitCode::nothingFound;
                  }),
              1);
    EXPECT_EQ(errors.str(), "");
}

TEST_F(CommandLineTest, EscapesControlCharactersInErrors)
{
    const Work fails = [](const Context&) -> ExitCode {
        throw Error(ExitCode::failed, "logmgr: \x1b[2J\u202Eyek\u2029");
    };
    EXPECT_EQ(run({"work"}, fails), 5);
    EXPECT_EQ(errors.str(), "healthctl: logmgr: \\x1b[2J\\u202eyek\\u2029\n");
}

TEST_F(CommandLineTest, ReportsAFailedCommandInOneLine)
{
    const Work fails = [](const Context&) -> ExitCode {
        throw Error(ExitCode::notPermitted, "not for you; ask root\nmore");
    };
    EXPECT_EQ(run({"work"}, fails), 4);
    EXPECT_EQ(errors.str(), "healthctl: not for you; ask root\n");
}

TEST_F(CommandLineTest, TakesAnyOtherExceptionForAFailure)
{
    const Work fails = [](const Context&) -> ExitCode {
        throw std::runtime_error("broken");
    };
    EXPECT_EQ(run({"work"}, fails), 5);
    EXPECT_EQ(errors.str(), "healthctl: broken\n");
}

TEST_F(CommandLineTest, FailsWhenTheOutputCannotBeWritten)
{
    const Work breaks = [this](const Context&) {
        out.setstate(std::ios::badbit);
        return ExitCode::ok;
    };
    EXPECT_EQ(run({"work"}, breaks), 5);
    EXPECT_THAT(errors.str(), HasSubstr("unable to write the output"));
}

/** Prints the folder of the data cache. */
ExitCode tellRuntimeFolder(const Context& context)
{
    try
    {
        context.out << host::runtimeDirectory().string();
    }
    catch (const std::runtime_error&)
    {
        context.out << "none";
    }
    return ExitCode::ok;
}

TEST_F(CommandLineTest, UsesTheFoldersOfTheMachinesDaemons)
{
    unsetenv("HEALTHINTF_RUNTIME_DIR");
    EXPECT_EQ(run({"work"}, tellRuntimeFolder), 0);
    EXPECT_EQ(out.str(), "/run/healthintf");
    EXPECT_STREQ(getenv("HEALTHINTF_STATE_DIR"), "/var/lib/healthintf");
}

TEST_F(CommandLineTest, UsesTheFoldersOfTheEnvironment)
{
    setenv("HEALTHINTF_RUNTIME_DIR", "/elsewhere", 1);
    EXPECT_EQ(run({"work"}, tellRuntimeFolder), 0);
    EXPECT_EQ(out.str(), "/elsewhere");
}

TEST_F(CommandLineTest, LeavesTheUsersOwnFoldersToTheUser)
{
    unsetenv("HEALTHINTF_RUNTIME_DIR");
    setenv("DBUS_STARTER_BUS_TYPE", "system", 1);
    EXPECT_EQ(run({"work", "--user"}, tellRuntimeFolder), 0);
    EXPECT_EQ(getenv("HEALTHINTF_RUNTIME_DIR"), nullptr);
    EXPECT_STREQ(getenv("DBUS_STARTER_BUS_TYPE"), "user");
}

TEST_F(CommandLineTest, RefusesUnknownWords)
{
    EXPECT_EQ(run({"wrok"}, good), 2);
    EXPECT_EQ(errors.str(), "healthctl: there is no command \"wrok\"; see "
                            "\"healthctl --help\"\n");
    errors.str("");
    EXPECT_EQ(run({"lcd", "get", "--loud"}, good), 2);
    EXPECT_THAT(errors.str(), HasSubstr("see \"healthctl lcd get --help\"\n"));
}

TEST_F(CommandLineTest, TakesCommonOptionsBeforeTheCommandToo)
{
    EXPECT_EQ(run({"--json", "work"}, good), 0);
    EXPECT_EQ(run({"lcd", "--json", "get"}, good), 0);
    EXPECT_EQ(run({"--color", "never", "--json", "lcd", "get"}, good), 0);
    EXPECT_EQ(out.str(), "jsonjsonjson");
    EXPECT_EQ(run({"--json"}, good), 2);
}

TEST_F(CommandLineTest, ShowsTheHelpOfACommand)
{
    EXPECT_EQ(run({"help", "work"}, good), 0);
    EXPECT_THAT(out.str(), HasSubstr("Examples:\n  healthctl work"));
    out.str("");
    EXPECT_EQ(run({"help", "lcd", "get"}, good), 0);
    EXPECT_THAT(out.str(), HasSubstr("Gets."));
    out.str("");
    EXPECT_EQ(run({"help"}, good), 0);
    EXPECT_THAT(out.str(), HasSubstr("Works."));
}

TEST_F(CommandLineTest, ShowsNoHelpForUnknownWords)
{
    EXPECT_EQ(run({"help", "wrok"}, good), 2);
    EXPECT_EQ(run({"lcd", "gte", "--help"}, good), 2);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(errors.str(), "healthctl: there is no command \"wrok\"; see "
                            "\"healthctl --help\"\n"
                            "healthctl: there is no command \"gte\"; see "
                            "\"healthctl lcd --help\"\n");
}

TEST_F(CommandLineTest, FailsWhenHelpCannotBeWritten)
{
    out.setstate(std::ios::badbit);
    EXPECT_EQ(run({"--help"}, good), 5);
    EXPECT_THAT(errors.str(), HasSubstr("unable to write the output"));
}

TEST_F(CommandLineTest, ShowsHelpOnStandardOutput)
{
    EXPECT_EQ(run({"work", "--help"}, good), 0);
    EXPECT_THAT(out.str(), HasSubstr("Examples:\n  healthctl work"));
    EXPECT_EQ(errors.str(), "");
}

/** A program with the command "work" and the check "look". */
class CheckTest : public CommandLineTest
{
  protected:
    int run(std::vector<const char*> words,
            const std::function<CheckState(const Context&)>& look)
    {
        CommandLine commands(out, errors);
        commands.add({"work", "Works.", ""}, good);
        commands
            .addCheck({"look", "Looks.", "Examples:\n  healthctl look"},
                      {.run = look,
                       .tellFailure =
                           [](const Context& context, const std::string& why) {
                               context.out
                                   << (context.json ? "json: " : "line: ")
                                   << why << '\n';
                           }})
            .add_option("KEY");
        words.insert(words.begin(), "healthctl");
        return commands.run(static_cast<int>(words.size()), words.data());
    }

    static CheckState isBad(const Context& /*context*/)
    {
        return CheckState::critical;
    }
};

TEST_F(CheckTest, EndsWithItsState)
{
    for (const CheckState state : {CheckState::ok, CheckState::warning,
                                   CheckState::critical, CheckState::unknown})
    {
        EXPECT_EQ(run({"look"},
                      [state](const Context&) {
                          return state;
                      }),
                  static_cast<int>(state));
    }
    EXPECT_EQ(errors.str() + out.str(), "");
}

TEST_F(CheckTest, TellsFailuresInItsOwnWay)
{
    EXPECT_EQ(run({"look"},
                  [](const Context&) -> CheckState {
                      throw Error(ExitCode::notPermitted, "not for you\nmore");
                  }),
              3);
    EXPECT_EQ(run({"look", "--json"},
                  [](const Context&) -> CheckState {
                      throw std::runtime_error("broken");
                  }),
              3);
    EXPECT_EQ(out.str(), "line: not for you\njson: broken\n");
    EXPECT_EQ(errors.str(), "");
}

TEST_F(CheckTest, TellsWrongUsageInItsOwnWay)
{
    using Words = std::vector<const char*>;
    for (const Words& words :
         {Words{"look", "--loud"}, Words{"look", "a", "b"}, Words{"look", ""},
          Words{"--loud", "look"}, Words{"look", "--color", "pink"}})
    {
        out.str("");
        EXPECT_EQ(run(words, isBad), 3) << words.back();
        EXPECT_THAT(out.str(), testing::StartsWith("line: "));
        EXPECT_THAT(out.str(), HasSubstr("see \"healthctl look --help\"\n"));
        EXPECT_EQ(errors.str(), "") << words.back();
    }
}

TEST_F(CheckTest, LeavesOtherCommandsAsTheyAre)
{
    EXPECT_EQ(run({"work", "--loud"}, isBad), 2);
    EXPECT_EQ(out.str(), "");
    EXPECT_THAT(errors.str(), HasSubstr("see \"healthctl work --help\"\n"));
}

TEST_F(CheckTest, TellsOnStandardErrorThatItsLineCannotBeWritten)
{
    EXPECT_EQ(run({"look"},
                  [this](const Context&) {
                      out.setstate(std::ios::badbit);
                      return CheckState::ok;
                  }),
              3);
    EXPECT_THAT(errors.str(), HasSubstr("unable to write the output"));
}

TEST_F(CheckTest, ShowsItsHelpAsOthersDo)
{
    EXPECT_EQ(run({"look", "--help"}, isBad), 0);
    EXPECT_THAT(out.str(), HasSubstr("Examples:\n  healthctl look"));
}

} // namespace
} // namespace healthintf::healthctl
