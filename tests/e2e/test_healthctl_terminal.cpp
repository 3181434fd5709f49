// SPDX-License-Identifier: Apache-2.0
/** @file healthctl on terminals, in pipes and in the shell's completion. */

#include "healthctl.hpp"
#include "log_client.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

/** The width of the widest line, with one column for each character. */
std::size_t widest(const std::string& text)
{
    const std::string plain =
        std::regex_replace(text, std::regex("\x1b\\[[0-9;]*m"), "");
    std::istringstream lines(plain);
    std::size_t most = 0;
    for (std::string line; std::getline(lines, line);)
    {
        const auto signs =
            std::count_if(line.begin(), line.end(), [](unsigned char byte) {
                return (byte & 0xC0U) != 0x80;
            });
        most = std::max(most, static_cast<std::size_t>(signs));
    }
    return most;
}

class Terminal : public HealthctlTest
{
  protected:
    Terminal()
    {
        daemon.init(longKey, 2);
        daemon.add(longKey, "Test.1.0.Slow",
                   "/sensors/" + std::string(230, 's'), 1, 7);
        client.waitForHealth(root, 4);
    }

    /** Runs healthctl on a terminal of the given width. */
    static std::string onTerminal(int columns,
                                  const std::vector<std::string>& arguments,
                                  const std::string& setting = "TERM=xterm")
    {
        std::vector<std::string> command{ON_TERMINAL, std::to_string(columns),
                                         HEALTHCTL};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return readOutput(command, {setting, "LC_ALL="});
    }

    /** Expects that a command's output fits narrow terminals. */
    static void expectToFitNarrowOnes(const std::vector<std::string>& command)
    {
        for (int columns = 1; columns <= 20; ++columns)
        {
            std::vector<std::string> words{ON_TERMINAL, std::to_string(columns),
                                           HEALTHCTL};
            words.insert(words.end(), command.begin(), command.end());
            const Answer shown = runProgram(words, {"TERM=xterm", "LC_ALL="});
            EXPECT_LE(widest(shown.output), static_cast<std::size_t>(columns))
                << command[0] << '\n'
                << shown.output;
            EXPECT_LE(shown.status, 1) << shown.output;
            EXPECT_NE(shown.output, "");
        }
    }

    const std::string longKey = rack + "/begin" + std::string(230, 'x') + "end";
};

TEST_F(Terminal, FitsEveryLineIntoItsWidth)
{
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"tree", "--faults"},
          {"faults"},
          {"faults", "--explain"},
          {"top"}})
    {
        for (const int columns : {80, 200})
        {
            const std::string shown = onTerminal(columns, command);
            EXPECT_LE(widest(shown), static_cast<std::size_t>(columns))
                << shown;
            EXPECT_THAT(shown, HasSubstr("…"));
        }
    }
}

TEST_F(Terminal, FitsEveryLineIntoANarrowWidth)
{
    setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
    healthctl({"hide", "--sensor-number", "7"});
    client.waitForHealth(root, 2);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"tree", "--faults"},
          {"faults"},
          {"faults", "--all"},
          {"faults", "--all", "--explain"},
          {"faults", "--all", "--short"},
          {"tree", "--problems"},
          {"explain", "MonitorLost"},
          {"top"},
          {"count"},
          {"leds"},
          {"lcd", "get"},
          {"hide", "--component", "rack/fan"},
          {"doctor"},
          {"--help"},
          {"faults", "--help"}})
    {
        expectToFitNarrowOnes(command);
    }
}

TEST_F(Terminal, FitsEveryLineOfTheLogIntoANarrowWidth)
{
    setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
    LogClient log;
    const Process running = log.start();
    const std::string file = bus.folder().path() / "log.raw";
    const auto addAndExpect = [&](const std::vector<std::string>& command) {
        log.add(makeRecord(7));
        expectToFitNarrowOnes(command);
    };
    addAndExpect({"sel", "list"});
    addAndExpect({"sel", "list", "--since", "@4000000000"});
    addAndExpect({"sel", "show", "1"});
    addAndExpect({"sel", "info"});
    addAndExpect({"sel", "export", file});
    addAndExpect({"sel", "import", file});
    addAndExpect({"sel", "clear", "--yes"});
}

TEST_F(Terminal, FitsEveryLineOfTheHistoryIntoANarrowWidth)
{
    LogClient log;
    const Process running = log.start();
    client.waitUntil("the history", [] {
        return healthctl({"history"}).output.find(" Test.1.0.Slow ") !=
               std::string::npos;
    });
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"history"},
          {"history", "--summary"},
          {"history", "--picture"},
          {"history", "clear", "--yes"}})
    {
        expectToFitNarrowOnes(command);
    }
}

TEST_F(Terminal, FitsEveryLineOfNotesIntoANarrowWidth)
{
    const std::string comment = "is " + std::string(200, 'l') + "ong";
    healthctl({"ack", longKey, "--comment", comment});
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"tree", "--faults"},
          {"faults"},
          {"silence", "add", "--sensor-number", "7", "--for", "2h", "--comment",
           comment},
          {"silence", "list"},
          {"faults", "--all"},
          {"unhide", "--sensor-number", "7"},
          {"ack", longKey, "--comment", comment}})
    {
        expectToFitNarrowOnes(command);
    }
}

TEST_F(Terminal, KeepsBothEndsOfANameThatIsTooLong)
{
    const std::string shown = onTerminal(80, {"tree"});
    EXPECT_THAT(shown, HasSubstr("begin"));
    EXPECT_THAT(shown, HasSubstr("xend"));
}

TEST_F(Terminal, FaultsAreALineEachWhereItIsWide)
{
    const std::string sensor = "sensor /sensors/s";
    EXPECT_THAT(onTerminal(159, {"faults"}), HasSubstr(sensor));
    EXPECT_THAT(onTerminal(160, {"faults"}), Not(HasSubstr(sensor)));
    EXPECT_THAT(onTerminal(160, {"faults", "--long"}), HasSubstr(sensor));
    EXPECT_THAT(onTerminal(80, {"faults", "--short"}), Not(HasSubstr(sensor)));
}

TEST_F(Terminal, PagesLongOutput)
{
    const std::string mark = "HEALTHCTL_PAGER=sed s/^/paged:/";
    const std::string paged = onTerminal(80, {"tree", "--json"}, mark);
    EXPECT_THAT(paged, StartsWith("paged:{\npaged:  \"schema\""));
    EXPECT_THAT(paged, EndsWith("\npaged:}\n"));
    const Answer other =
        runProgram({ON_TERMINAL, "80", "env", "-u", "HEALTHCTL_PAGER",
                    HEALTHCTL, "tree", "--json"},
                   {"TERM=xterm", "PAGER=sed s/^/other:/"});
    EXPECT_THAT(other.output, StartsWith("other:{\n"));
}

TEST_F(Terminal, DoesWithoutAPagerWhereItIsNotWanted)
{
    const std::string mark = "HEALTHCTL_PAGER=sed s/^/paged:/";
    for (const auto& words :
         {std::vector<std::string>{"tree", "--json", "--no-pager"},
          {"tree"},
          {"count", "--json"},
          {"--no-pager", "tree", "--json"},
          {"tree", "--help"}})
    {
        EXPECT_THAT(onTerminal(80, words, mark), Not(HasSubstr("paged:")))
            << words[0];
    }
    EXPECT_THAT(healthctl({"tree", "--json"}, {mark}).output,
                Not(HasSubstr("paged:")));
    EXPECT_THAT(onTerminal(80, {"tree", "--json"}, "HEALTHCTL_PAGER=cat"),
                StartsWith("{\n"));
}

TEST_F(Terminal, PagesTheHistoryUnlessItIsFollowed)
{
    const std::string mark = "HEALTHCTL_PAGER=sed s/^/paged:/";
    LogClient log;
    const Process running = log.start();
    client.waitUntil("the history", [] {
        return healthctl({"history"}).output.find(" Test.1.0.Slow ") !=
               std::string::npos;
    });
    // More lines than the screen has.
    EXPECT_THAT(onTerminal(10, {"history"}, mark), StartsWith("paged:"));
    EXPECT_THAT(onTerminal(10, {"history", "--no-pager"}, mark),
                Not(HasSubstr("paged:")));
    Process follower({WATCH_ON_TERMINAL, HEALTHCTL, "history", "--follow"},
                     {"LC_ALL=", mark});
    EXPECT_THAT(follower.hear(), HasSubstr("appeared"));
}

TEST_F(Terminal, NeedsNoPager)
{
    const std::string missing =
        onTerminal(80, {"tree", "--json"}, "HEALTHCTL_PAGER=/nonexistent");
    EXPECT_THAT(missing, HasSubstr("\n  \"schema\": \"healthctl.tree/1\""));
    EXPECT_THAT(missing, EndsWith("\n}\n"));
    const Answer early =
        runProgram({ON_TERMINAL, "80", HEALTHCTL, "tree", "--json"},
                   {"TERM=xterm", "HEALTHCTL_PAGER=true"});
    EXPECT_EQ(early.status, 0) << early.output;
    const Answer nothing = runProgram(
        {ON_TERMINAL, "80", HEALTHCTL, "faults", "--json", "-s", "OK"},
        {"TERM=xterm", "HEALTHCTL_PAGER=false"});
    EXPECT_EQ(nothing.status, 1) << "the status is the command's";
    const Answer failed =
        runProgram({ON_TERMINAL, "80", HEALTHCTL, "tree", "nothing"},
                   {"TERM=xterm", "HEALTHCTL_PAGER=cat >/dev/null"});
    EXPECT_EQ(failed.status, 6);
    EXPECT_THAT(failed.output, HasSubstr("there is no component \"nothing\""));
}

TEST_F(Terminal, ShowsColoursUnlessTheyAreTurnedOff)
{
    EXPECT_THAT(onTerminal(80, {"tree"}), HasSubstr("\x1b[31;1mcritical"));
    EXPECT_THAT(onTerminal(80, {"tree"}, "NO_COLOR=1"), Not(HasSubstr("\x1b")));
    EXPECT_THAT(onTerminal(80, {"tree", "--color", "never"}),
                Not(HasSubstr("\x1b")));
}

TEST_F(Terminal, UsesAsciiWhereTheLocaleHasNothingElse)
{
    const std::string shown =
        readOutput({HEALTHCTL, "tree"}, {"LC_ALL=de_DE.ISO-8859-1"});
    EXPECT_THAT(shown, HasSubstr("`- rack"));
}

TEST_F(Terminal, PipesGetEverythingAndNoColours)
{
    const Answer answer = healthctl({"tree"});
    EXPECT_THAT(answer.output, HasSubstr(longKey.substr(rack.size() + 1)));
    EXPECT_THAT(answer.output, Not(HasSubstr("\x1b")));
    EXPECT_THAT(healthctl({"tree", "--color=always"}).output,
                HasSubstr("\x1b[31;1mcritical"));
}

/** The completions that the shell offers for the last word of a line. */
std::vector<std::string> listCompletions(const std::string& line)
{
    const std::string script = "PATH=$(dirname " HEALTHCTL "):$PATH\n"
                               ". " COMPLETION "\n"
                               // compopt works only during a completion.
                               "compopt() { echo \"compopt $*\"; }\n"
                               "COMP_WORDS=(" +
                               line +
                               ")\n"
                               "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                               "_healthctl\n"
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    std::istringstream lines(readOutput({"bash", "-c", script}));
    std::vector<std::string> all;
    for (std::string each; std::getline(lines, each);)
    {
        all.push_back(each);
    }
    return all;
}

TEST_F(Terminal, ShellCompletesCommandsAndOptions)
{
    EXPECT_THAT(listCompletions("healthctl t"), ElementsAre("tree", "top"));
    EXPECT_THAT(listCompletions("healthctl lcd s"), ElementsAre("set"));
    EXPECT_THAT(
        listCompletions("healthctl faults --s"),
        ElementsAre("--severity", "--since", "--sort", "--short", "--source"));
    EXPECT_THAT(listCompletions("healthctl faults --severity c"),
                ElementsAre("critical"));
}

TEST_F(Terminal, ShellCompletesTheLogsCommandsWatchAndDoctor)
{
    EXPECT_THAT(listCompletions("healthctl sel ''"),
                ElementsAre("list", "show", "add", "clear", "export", "import",
                            "info"));
    EXPECT_THAT(listCompletions("healthctl sel list --se"),
                ElementsAre("--sensor-type", "--severity"));
    EXPECT_THAT(listCompletions("healthctl sel list --severity i"),
                ElementsAre("informational"));
    EXPECT_THAT(listCompletions("healthctl sel list --since ''"),
                ElementsAre(""));
    EXPECT_THAT(listCompletions("healthctl watch --d"), ElementsAre("--depth"));
    EXPECT_THAT(listCompletions("healthctl watch --severity w"),
                ElementsAre("warning"));
    EXPECT_THAT(listCompletions("healthctl doctor --b"),
                ElementsAre("--brief"));
    EXPECT_THAT(listCompletions("healthctl d"),
                ElementsAre("dismiss", "doctor"));
}

TEST_F(Terminal, ShellCompletesTheHistory)
{
    EXPECT_THAT(listCompletions("healthctl history c"), ElementsAre("clear"));
    EXPECT_THAT(listCompletions("healthctl history rack/f"),
                ElementsAre("rack/fan"));
    EXPECT_THAT(listCompletions("healthctl history --kind s"),
                UnorderedElementsAre("shown", "silenced", "silence-ended"));
    EXPECT_THAT(listCompletions("healthctl history --kind g"),
                ElementsAre("gave-way"));
    EXPECT_THAT(listCompletions("healthctl history --severity c"),
                ElementsAre("critical"));
    EXPECT_THAT(listCompletions("healthctl history --p"),
                ElementsAre("--picture"));
    EXPECT_THAT(listCompletions("healthctl history --limit ''"),
                ElementsAre(""));
    EXPECT_THAT(listCompletions("healthctl history clear --y"),
                ElementsAre("--yes"));
}

TEST_F(Terminal, ShellCompletesFilesForRecords)
{
    EXPECT_THAT(listCompletions("healthctl sel export a"),
                ElementsAre("compopt -o default", ""));
    EXPECT_THAT(listCompletions("healthctl sel clear a"), ElementsAre(""));
}

TEST_F(Terminal, ShellCompletesComponents)
{
    EXPECT_THAT(listCompletions("healthctl tree rack/f"),
                ElementsAre("rack/fan"));
    EXPECT_THAT(listCompletions("healthctl watch rack/p"),
                ElementsAre("rack/psu"));
    EXPECT_THAT(listCompletions("healthctl check rack/p"),
                ElementsAre("rack/psu"));
    EXPECT_THAT(listCompletions("healthctl hide --component rack/p"),
                ElementsAre("rack/psu"));
}

TEST_F(Terminal, ShellCompletesMessages)
{
    EXPECT_THAT(listCompletions("healthctl explain T"),
                ElementsAre("Test.1.0.Slow"));
    EXPECT_THAT(listCompletions("healthctl faults --message ''"),
                ElementsAre("Test.1.0.Slow"));
    EXPECT_THAT(listCompletions("healthctl faults --text ''"), ElementsAre(""));
}

TEST_F(Terminal, ShellCompletesRaisedFaults)
{
    EXPECT_THAT(listCompletions("healthctl rai"), ElementsAre("raise"));
    EXPECT_THAT(listCompletions("healthctl raise rack/p"),
                ElementsAre("rack/psu"));
    EXPECT_THAT(listCompletions("healthctl raise rack/psu T"),
                ElementsAre("Test.1.0.Slow"));
    EXPECT_THAT(listCompletions("healthctl clear rack/p"),
                ElementsAre("rack/psu"));
    EXPECT_THAT(listCompletions("healthctl sel clear ''"), ElementsAre(""));
    EXPECT_THAT(listCompletions("healthctl raise --t"), ElementsAre("--trial"));
    EXPECT_THAT(listCompletions("healthctl raise --for ''"), ElementsAre(""));
}

TEST_F(Terminal, ShellCompletesLostMonitors)
{
    EXPECT_THAT(listCompletions("healthctl dismiss ''"), ElementsAre(""));
    const std::string hidden = rack + "/hidden";
    for (const std::string& key : {rack + "/lost", hidden})
    {
        Component lost(key, 2);
        lost.process.kill();
        client.waitForHealth(key, 3);
    }
    healthctl({"hide", "--component", hidden});
    client.waitForHealth(hidden, 0);
    EXPECT_THAT(listCompletions("healthctl dismiss ''"),
                UnorderedElementsAre("rack/lost", "rack/hidden"));
}

TEST_F(Terminal, ShellCompletesSilences)
{
    EXPECT_THAT(listCompletions("healthctl silence end ''"), ElementsAre(""));
    for (const char* number : {"7", "8"})
    {
        healthctl({"silence", "add", "--sensor-number", number, "--for", "2h",
                   "--comment", "1 of 2"});
    }
    EXPECT_THAT(listCompletions("healthctl silence end ''"),
                UnorderedElementsAre("1", "2"));
    EXPECT_THAT(listCompletions("healthctl silence add --for ''"),
                ElementsAre(""));
}

TEST_F(Terminal, ShellCompletesFaults)
{
    daemon.add(psu, "Test.1.0.Slow", "/sensors/a", 1, 1);
    EXPECT_THAT(listCompletions("healthctl ack ''"), Contains("rack/psu"));
    daemon.add(psu, "Test.1.0.Hot", "/sensors/b", 1, 2);
    EXPECT_THAT(listCompletions("healthctl ack Fault"), SizeIs(2));
}

TEST_F(Terminal, ShellRunsNothingOfAComponentsKey)
{
    // Whoever may report can give a record any key.
    for (const std::string& key : {rack + "/fa$(echo${IFS}x)",
                                   rack + "/fa`echo${IFS}x`", rack + "/fa;x"})
    {
        ASSERT_EQ(datacache_healthstatus_create(key, {{"HealthStatus", 2U}}),
                  0);
        EXPECT_THAT(healthctl({"tree", "--paths"}).output,
                    HasSubstr(key.substr(root.size() + 1)));
        EXPECT_THAT(listCompletions("healthctl tree rack/f"),
                    ElementsAre("rack/fan"));
        EXPECT_EQ(datacache_healthstatus_remove(key), 0);
    }
}

TEST_F(Terminal, ClosedOutputDoesNotReachTheBus)
{
    for (const char* command : {"tree", "watch"})
    {
        const Answer answer = runProgram(
            {"sh", "-c", std::string(HEALTHCTL " ") + command + " >&-"});
        EXPECT_EQ(answer.status, 5);
        EXPECT_THAT(answer.errors, HasSubstr("unable to write the output"));
    }
}

TEST(WrongUsage, PrintsOneLineThatNamesTheHelp)
{
    const Answer unknown = healthctl({"tre"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.errors, "healthctl: there is no command \"tre\"; see "
                              "\"healthctl --help\"\n");
    const Answer word = healthctl({"tree", "--color", "blue"});
    EXPECT_EQ(word.status, 2);
    EXPECT_EQ(word.errors,
              "healthctl: --color: \"blue\" is none of: always, auto, never; "
              "see \"healthctl tree --help\"\n");
}

TEST(WrongUsage, IncludesEmptyArguments)
{
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"tree", ""},
          {"faults", "-c", ""},
          {"faults", "--component=", "--all"},
          {"top", "-c", ""},
          {"hide", "-c", "", "--sensor-path", "/sensors/fan"},
          {"unhide", "--sensor-path", ""},
          {"dismiss", ""},
          {"explain", ""},
          {"raise", "rack", "A.1.0.B", ""},
          {"clear", ""},
          {"lcd", "get", ""},
          {"sel", "list", "--since", ""},
          {"history", ""},
          {"watch", "--depth", ""}})
    {
        const Answer answer = healthctl(words);
        EXPECT_EQ(answer.status, 2) << words[0];
        EXPECT_THAT(answer.errors, HasSubstr(words[0])) << answer.errors;
    }
    EXPECT_EQ(healthctl({"tree", ""}).errors,
              "healthctl: the argument after \"tree\" is empty; see "
              "\"healthctl tree --help\"\n");
}

TEST(Help, HasExamplesForEveryCommand)
{
    for (const char* command :
         {"tree",         "faults",        "top",      "count",
          "leds",         "hide",          "unhide",   "dismiss",
          "lcd",          "lcd get",       "lcd set",  "sel",
          "sel list",     "sel show",      "sel add",  "sel clear",
          "sel export",   "sel import",    "sel info", "watch",
          "doctor",       "check",         "silence",  "silence add",
          "silence list", "silence end",   "ack",      "explain",
          "history",      "history clear", "raise",    "clear"})
    {
        const Answer help = runProgram(
            {"sh", "-c", std::string(HEALTHCTL " ") + command + " --help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.output, HasSubstr("Examples:\n")) << command;
        EXPECT_LE(widest(help.output), 80U) << help.output;
    }
}

} // namespace
} // namespace healthintf::test
