// SPDX-License-Identifier: Apache-2.0
/** @file healthctl's commands that raise faults without a daemon and clear
 *  them, on a running tree. */

#include "healthctl.hpp"
#include "installed_policy.hpp"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

const std::string manager = "com.vexa.olvar.healthmgr";

using Words = std::vector<std::string>;

const std::string critical = "HostMonitor.1.0.TemperatureCritical";
const std::string warning = "HostMonitor.1.0.ProcessMissing";

class Raising : public testing::Test
{
  protected:
    Raising()
    {
        client.waitUntil("manager", [this] {
            return client.hasNode(manager, root);
        });
    }

    static Words warningOn(const std::string& component, Words more = {})
    {
        Words words{"raise", component, warning, "pumpd", "0", "1"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    static Words criticalOn(const std::string& component, Words more = {})
    {
        Words words{"raise", component, critical, "fan 7", "101", "95"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    /** Expects that a command ends with a status and one line. */
    static void expectError(const Words& command, int status,
                            const std::string& line)
    {
        const Answer answer = healthctl(command);
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.errors, "healthctl: " + line + "\n");
        EXPECT_EQ(answer.output, "");
    }

    const std::string root = "/com/vexa/olvar/health";
    PrivateBus bus;
    BusClient client;
    Process healthmgr{{HEALTHMGR},
                      {"HEALTHINTF_REGISTRY_PATH=" SHIPPED_REGISTRIES}};
};

TEST_F(Raising, LastsUntilItIsCleared)
{
    const Answer raised = healthctl(warningOn("pump"));
    EXPECT_EQ(raised.status, 0) << raised.errors;
    EXPECT_EQ(raised.output, "Raised " + warning +
                                 " on pump; \"healthctl clear pump\" ends "
                                 "it.\n");
    client.waitForHealth(root, 3);
    EXPECT_THAT(healthctl({"faults"}).output,
                AllOf(HasSubstr("The process pumpd is not running."),
                      Not(HasSubstr("trial"))));
    EXPECT_EQ(healthctl({"clear", "pump"}).output,
              "Ended 1 raised fault of pump.\n");
    client.waitForHealth(root, 0);
    EXPECT_EQ(healthctl({"faults"}).status, 1) << "there is none";
}

TEST_F(Raising, ForTrialIsSaidWhereverTheFaultIsShown)
{
    Process watch({HEALTHCTL, "watch", "--json"});
    EXPECT_THAT(watch.hear(), HasSubstr("begin"));
    const Answer raised = healthctl(criticalOn("chassis/fan7", {"--trial"}));
    EXPECT_THAT(raised.output, MatchesRegex("Raised " + critical +
                                            " on chassis/fan7 for trial, until "
                                            "....-..-.. ..:..:...\n"));
    client.waitForHealth(root, 4);
    EXPECT_THAT(healthctl({"tree", "--faults"}).output,
                HasSubstr("(limit 95). (trial)\n"));
    EXPECT_THAT(healthctl({"faults"}).output, HasSubstr("  trial\n"));
    EXPECT_THAT(healthctl({"top"}).output, HasSubstr("  trial\n"));
    EXPECT_EQ(toJson({"faults"})["faults"][0]["trial"], true);
    EXPECT_EQ(toJson({"top"})["faults"][0]["trial"], true);
    const json tree = toJson({"tree", "--faults", "chassis/fan7"});
    EXPECT_EQ(tree["trees"][0]["faults"][0]["trial"], true);
    json change;
    while (change["change"] != "fault-added")
    {
        change = json::parse(watch.hear());
    }
    EXPECT_EQ(change["fault"]["trial"], true);
}

TEST_F(Raising, ForTrialEndsAfterFiveMinutesUnlessItIsTold)
{
    const auto before = std::time(nullptr);
    const json usual = toJson(criticalOn("a", {"--trial"}));
    EXPECT_EQ(usual["trial"], true);
    EXPECT_EQ(usual["component"], root + "/a");
    EXPECT_EQ(usual["args"], (json{"fan 7", "101", "95"}));
    EXPECT_GE(usual["until"], before + 300);
    EXPECT_LE(usual["until"], std::time(nullptr) + 300);
    const json told = toJson(criticalOn("b", {"--trial", "--for", "2h"}));
    EXPECT_GE(told["until"], before + 7200);
    EXPECT_EQ(toJson(criticalOn("c"))["until"], nullptr);
}

TEST_F(Raising, EndsByItselfAfterItsTime)
{
    EXPECT_EQ(healthctl(criticalOn("a", {"--for", "1s"})).status, 0);
    client.waitForHealth(root, 4);
    client.waitForHealth(root, 0);
    EXPECT_EQ(healthctl({"faults"}).status, 1);
    EXPECT_EQ(healthctl({"clear", "a"}).status, 6);
}

TEST_F(Raising, NamesTheSensorByWhichItCanBeHidden)
{
    EXPECT_EQ(healthctl(warningOn("a", {"--sensor-path", "/sensors/a",
                                        "--sensor-number", "7"}))
                  .status,
              0);
    EXPECT_THAT(healthctl({"faults"}).output,
                HasSubstr("sensor /sensors/a, number 7"));
    EXPECT_EQ(healthctl({"hide", "--sensor-number", "7"}).status, 0);
    client.waitForHealth(root, 3);
    client.waitForHealth(root, 0);
}

TEST_F(Raising, IsRefusedWithAWrongMessageOrNumberOfArguments)
{
    expectError({"raise", "a", "No.Such"}, 2,
                "no registry has the message No.Such");
    expectError({"raise", "a", warning, "pumpd"}, 2,
                "the message " + warning + " takes 3 arguments, and not 1");
    expectError(warningOn("a b"), 2,
                "\"a b\" names no component; \"healthctl tree\" shows how "
                "they are written");
    for (const char* length : {"10", "s", "m10", "-1m", "3661d", "1 m"})
    {
        expectError(warningOn("a", {"--for", length}), 2,
                    "\"" + std::string(length) +
                        "\" is no length of time; write it as 30s, 10m, 2h or "
                        "7d");
    }
    expectError(warningOn("a", {"--for", "0s"}), 2,
                "a fault cannot end before it began; give --for more than 0s");
    EXPECT_EQ(healthctl({"raise", "a"}).status, 2);
    EXPECT_EQ(healthctl({"faults"}).status, 1) << "nothing was raised";
}

TEST_F(Raising, TakesArgumentsThatBeginWithAMinusSign)
{
    EXPECT_EQ(
        healthctl({"raise", "a", critical, "--", "fan 7", "-1", "-5"}).status,
        0);
    EXPECT_EQ(toJson({"faults"})["faults"][0]["args"],
              (json{"fan 7", "-1", "-5"}));
}

TEST_F(Raising, TakesNoComponentAwayFromADaemon)
{
    Component daemon(root + "/fan", 2);
    client.waitForHealth(root, 2);
    expectError(warningOn("fan"), 5,
                "process " + std::to_string(daemon.process.pid()) +
                    " holds the component; raise the fault on one below it, "
                    "such as " +
                    root + "/fan/trial");
    EXPECT_EQ(healthctl(warningOn("fan/trial")).status, 0);
    client.waitForHealth(root, 3);
}

TEST_F(Raising, IsClearedByComponentMessageOrAllAtOnce)
{
    for (const char* component : {"a", "b"})
    {
        healthctl(warningOn(component));
        healthctl(criticalOn(component));
    }
    const json one = toJson({"clear", "a", critical});
    EXPECT_EQ(one["component"], root + "/a");
    EXPECT_EQ(one["messageId"], critical);
    EXPECT_EQ(one["faults"], 1);
    EXPECT_EQ(healthctl({"clear", "--all"}).output, "Ended 3 raised faults.\n");
    expectError({"clear", "--all"}, 6,
                "there is no such raised fault; \"healthctl faults\" shows "
                "what there is");
    for (const Words& words : {Words{"clear"}, {"clear", "a", "--all"}})
    {
        expectError(words, 2,
                    "give a component, or --all for the raised faults of "
                    "all");
    }
}

TEST_F(Raising, ClearsNoFaultOfADaemon)
{
    Component daemon(root + "/fan", 2);
    daemon.add(root + "/fan", "BAD", "/s", 1);
    client.waitForHealth(root, 4);
    EXPECT_EQ(healthctl({"clear", "fan"}).status, 6);
    EXPECT_EQ(healthctl({"clear", "--all"}).status, 6);
    EXPECT_EQ(client.health(daemon.name(), root + "/fan"), 4U);
}

TEST(RaisingWhereNothingRuns, SaysSo)
{
    const PrivateBus bus;
    for (const Words& words :
         {Words{"raise", "a", warning}, {"clear", "--all"}})
    {
        const Answer answer = healthctl(words);
        EXPECT_EQ(answer.status, 3);
        EXPECT_EQ(answer.errors,
                  "healthctl: healthmgr is not running; start it\n");
    }
}

TEST(RaisingForOthers, IsRefusedInOneLine)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can become another user";
    }
    const PrivateBus bus{systemRules + installedRules(manager)};
    letOthersIn(bus);
    BusClient client;
    const Process healthmgr({HEALTHMGR},
                            {"HEALTHINTF_REGISTRY_PATH=" SHIPPED_REGISTRIES});
    client.waitUntil("manager", [&client] {
        return client.hasNode(manager, "/com/vexa/olvar/health");
    });
    for (const Words& words :
         {Words{"raise", "a", warning, "pumpd", "0", "1"}, {"clear", "--all"}})
    {
        Words command{HEALTHCTL};
        command.insert(command.end(), words.begin(), words.end());
        const Answer answer = runProgram(as(Caller::stranger, command));
        EXPECT_EQ(answer.status, 4);
        EXPECT_EQ(answer.errors,
                  "healthctl: the bus policy does not let this user do that; "
                  "try again as root or as a member of the group "
                  "healthintf-operators\n");
    }
}

} // namespace
} // namespace healthintf::test
