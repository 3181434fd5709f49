// SPDX-License-Identifier: Apache-2.0
#include "command_line.hpp"
#include "error.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ostream>
#include <sstream>
#include <stdexcept>

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

} // namespace
} // namespace healthintf::healthctl
