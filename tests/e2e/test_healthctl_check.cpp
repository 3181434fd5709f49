// SPDX-License-Identifier: Apache-2.0
/** @file healthctl check, as a monitoring system sees it. */

#include "healthctl.hpp"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <regex>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

/** What a monitoring system makes of the first line of a plugin. */
const std::regex pluginOutput("(OK|WARNING|CRITICAL|UNKNOWN) - [^|=\n]+"
                              "( \\|( [a-z_]+=[0-9]+)+)?\n");

/** The answer of a check, which must be a plugin's. */
Answer check(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "check");
    Answer answer = healthctl(arguments);
    EXPECT_TRUE(std::regex_match(answer.output, pluginOutput)) << answer.output;
    EXPECT_EQ(answer.errors, "");
    return answer;
}

void expectUnknown(const Answer& answer, const std::string& why)
{
    EXPECT_EQ(answer.status, 3);
    EXPECT_THAT(answer.output, StartsWith("UNKNOWN - "));
    EXPECT_THAT(answer.output, HasSubstr(why));
}

class Check : public HealthctlTest
{
  protected:
    void addFault(const std::string& key, const std::string& sensor,
                  uint32_t severity, uint32_t health)
    {
        daemon.add(key, "Test.1.0.Slow", sensor, severity, 7);
        client.waitForHealth(root, health);
    }

    /** Stops a process, and waits until it stands. */
    static void stop(const Process& process)
    {
        kill(process.pid(), SIGSTOP);
        waitpid(process.pid(), nullptr, WUNTRACED);
    }
};

TEST_F(Check, IsOkWithoutFaults)
{
    const Answer whole = check({});
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.output, "OK - " + root +
                                ": no visible fault | faults=0 critical=0 "
                                "warning=0 ok=0 unknown=0 hidden=0 "
                                "lost_monitors=0\n");
    EXPECT_THAT(check({"rack/fan"}).output, StartsWith("OK - rack/fan: "));
    EXPECT_EQ(check({root + "/rack/"}).status, 0);
}

TEST_F(Check, IsAsBadAsTheWorstBelow)
{
    addFault(fan, "/sensors/fan", 2, 3);
    const Answer warning = check({"rack"});
    EXPECT_EQ(warning.status, 1);
    EXPECT_THAT(warning.output,
                StartsWith("WARNING - rack: 1 visible fault; worst: rack/fan: "
                           "A fault of /sensors/fan | faults=1 critical=0 "
                           "warning=1 "));
    addFault(fan, "/sensors/noise", 1, 4);
    EXPECT_EQ(check({"rack"}).status, 2);
    const Answer critical = check({});
    EXPECT_EQ(critical.status, 2);
    EXPECT_THAT(critical.output, HasSubstr(" faults=2 critical=1 warning=1 "));
    EXPECT_EQ(check({"rack/psu"}).status, 0);
}

TEST_F(Check, CountsHiddenFaultsForNoHealth)
{
    addFault(fan, "/sensors/fan", 1, 4);
    daemon.expect("hide 1 - /sensors/fan 0", "0");
    client.waitForHealth(root, 2);
    const Answer answer = check({});
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.output, HasSubstr("no visible fault, 1 hidden | "
                                         "faults=0 "));
    EXPECT_THAT(answer.output, HasSubstr(" hidden=1 "));
}

TEST_F(Check, StaysBadWhenTheMonitorIsLost)
{
    addFault(fan, "/sensors/fan", 1, 4);
    daemon.process.kill();
    client.waitUntil("two lost monitors", [] {
        return toJson({"check"}, 2)["checked"]["faults"]["lostMonitors"] == 2;
    });
    const Answer answer = check({});
    EXPECT_EQ(answer.status, 2);
    EXPECT_THAT(answer.output, HasSubstr("2 visible faults, 2 lost monitors; "
                                         "worst: rack/fan: The process "));
    EXPECT_THAT(answer.output, HasSubstr(" lost_monitors=2\n"));
}

TEST_F(Check, KeepsTheLineWholeWhateverAFaultSays)
{
    addFault(fan, "/a|b=c'd\"e\x1b[2J\u2028f", 1, 4);
    EXPECT_THAT(check({}).output, HasSubstr("/a b cde\\x1b[2J\\u2028f | "));
}

TEST_F(Check, SaysTheSameOfTheBusAndTheCache)
{
    addFault(fan, "/sensors/fan", 1, 4);
    // This client's connection does not answer while the test waits.
    sd_bus_close(client.get());
    EXPECT_EQ(check({"--source", "bus"}).output,
              check({"--source", "cache"}).output);
    EXPECT_EQ(toJson({"check", "--source", "bus"}, 2)["source"], "bus");
}

TEST_F(Check, TellsOfProcessesThatDoNotAnswer)
{
    // The client's own connection.
    const Answer answer = check({"--source", "bus"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.output, HasSubstr("; silent processes: 1 | "));
    EXPECT_EQ(toJson({"check", "--source", "bus"})["silent"], 1);
}

TEST_F(Check, IsADocumentWithTheSameStatus)
{
    addFault(fan, "/sensors/fan", 2, 3);
    const json document = toJson({"check", "rack"}, 1);
    EXPECT_EQ(document["state"], "warning");
    EXPECT_EQ(document["why"], "");
    EXPECT_EQ(document["checked"]["component"], rack);
    EXPECT_EQ(document["checked"]["worst"]["message"],
              "A fault of /sensors/fan");
    const json nothing = toJson({"check", "attic"}, 3);
    EXPECT_EQ(nothing["state"], "unknown");
    EXPECT_EQ(nothing["checked"], nullptr);
}

TEST_F(Check, IsUnknownForAMissingComponent)
{
    expectUnknown(check({"rack/ps"}), "there is no component rack/ps;");
    expectUnknown(check({"no component"}), "names no component");
}

TEST_F(Check, IsUnknownForAHealthThatSaysNothing)
{
    for (const uint32_t health : {0U, 1U})
    {
        Component odd;
        odd.init(root + "/odd", health);
        expectUnknown(check({"odd"}), health == 0 ? "its health is none"
                                                  : "its health is unknown");
    }
}

TEST_F(Check, IsUnknownForAWrongCommandLine)
{
    expectUnknown(check({"--loud"}), "see healthctl check --help");
    expectUnknown(check({"rack", "attic"}), "see healthctl check --help");
    expectUnknown(check({"--source", "paper"}), "is none of: auto, bus, cache");
    expectUnknown(check({""}), "is empty");
}

TEST_F(Check, IsUnknownForParentsWhileHealthmgrDoesNotRun)
{
    addFault(fan, "/sensors/fan", 2, 3);
    healthmgr.signal(SIGTERM);
    healthmgr.wait();
    const char* why = "healthmgr does not run, so the health may be out of "
                      "date; 1 visible fault; worst: rack/fan: ";
    expectUnknown(check({}), why);
    expectUnknown(check({"rack"}), why);
    EXPECT_EQ(check({"rack/fan"}).status, 1);
    EXPECT_EQ(check({"rack/psu"}).status, 0);
}

TEST_F(Check, IsUnknownForParentsWhileHealthmgrHangs)
{
    stop(healthmgr);
    expectUnknown(check({}), "healthmgr does not answer");
    EXPECT_EQ(check({"rack/fan"}).status, 0);
}

TEST_F(Check, NeedsNoBusForWhatADaemonHolds)
{
    stop(daemon.process);
    stop(healthmgr);
    bus.kill();
    expectUnknown(check({}), "nobody knows whether healthmgr runs, unable to "
                             "connect to the bus: ");
    EXPECT_EQ(check({"rack/fan"}).status, 0);
    expectUnknown(check({"rack/fan", "--source", "bus"}),
                  "unable to connect to the bus: ");
}

class NothingToCheck : public testing::Test
{
  protected:
    PrivateBus bus;
};

TEST_F(NothingToCheck, IsUnknownWhenNothingRuns)
{
    expectUnknown(check({}), "nothing runs");
    expectUnknown(check({"--source", "cache"}), "nobody uses the data cache");
    EXPECT_EQ(toJson({"check"}, 3)["source"], nullptr);
}

TEST_F(NothingToCheck, IsUnknownForABusThatDoesNotAnswer)
{
    bus.freeze();
    expectUnknown(check({}), "unable to connect to the bus: Connection timed "
                             "out");
}

TEST_F(NothingToCheck, IsUnknownWhenTheLineCannotBeWritten)
{
    const Answer answer =
        runProgram({"sh", "-c", HEALTHCTL " check > /dev/full"});
    EXPECT_EQ(answer.status, 3);
    EXPECT_THAT(answer.errors, HasSubstr("nothing runs"));
}

TEST_F(NothingToCheck, LetsAScriptActOnAnyStateButOk)
{
    EXPECT_EQ(runProgram({"sh", "-c",
                          HEALTHCTL " check chassis/fans > /dev/null || echo "
                                    "acted"})
                  .output,
              "acted\n");
}

} // namespace
} // namespace healthintf::test
