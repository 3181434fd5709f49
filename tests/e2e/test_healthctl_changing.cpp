// SPDX-License-Identifier: Apache-2.0
/** @file healthctl's commands that change something, on a running tree. */

#include "false_manager.hpp"
#include "healthctl.hpp"
#include "installed_policy.hpp"

#include <gmock/gmock.h>

#include <csignal>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::HasSubstr;

class Changing : public HealthctlTest
{
  protected:
    Changing()
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 1, 7);
        client.waitForHealth(root, 4);
    }

    /** Kills the daemon and waits until healthmgr has its components. */
    void loseMonitors()
    {
        daemon.process.kill();
        client.waitUntil("change of hands", [this] {
            client.catchUp();
            return client.hasNode("com.vexa.olvar.healthmgr", fan) &&
                   client.hasNode("com.vexa.olvar.healthmgr", psu);
        });
    }

    void expectHidden(const std::vector<std::string>& by)
    {
        const auto told = [&by](const char* command) {
            std::vector<std::string> words{command};
            words.insert(words.end(), by.begin(), by.end());
            return toJson(words);
        };
        const json hidden = told("hide");
        EXPECT_EQ(hidden["hide"], true);
        EXPECT_EQ(hidden["components"], 1);
        EXPECT_EQ(hidden["faults"], 1);
        client.waitForHealth(root, 2);
        EXPECT_EQ(told("unhide")["hide"], false);
        client.waitForHealth(root, 4);
    }
};

TEST_F(Changing, HidesByComponent)
{
    expectHidden({"--component", "rack/fan"});
}

TEST_F(Changing, HidesBySensorPath)
{
    expectHidden({"--sensor-path", "/sensors/fan"});
}

TEST_F(Changing, HidesBySensorNumber)
{
    expectHidden({"--sensor-number", "7"});
}

TEST_F(Changing, PrintsTheNumbersOfFaultsAndComponents)
{
    daemon.add(psu, "Test.1.0.Slow", "/sensors/psu", 1, 7);
    EXPECT_EQ(healthctl({"hide", "--sensor-number", "7"}).output,
              "Asked 2 components to hide 2 faults.\n");
    client.waitForHealth(root, 2);
    EXPECT_EQ(healthctl({"unhide", "--sensor-number", "7"}).output,
              "Asked 2 components to show 2 faults.\n");
    client.waitForHealth(root, 4);
    EXPECT_EQ(healthctl({"hide", "--sensor-path", "/sensors/psu"}).output,
              "Asked 1 component to hide 1 fault.\n");
    EXPECT_EQ(healthctl({"hide", "--component", "rack"}).output,
              "Asked 1 component to hide 0 faults.\n");
    EXPECT_EQ(healthctl({"hide", "--sensor-path", "/sensors/none"}).output,
              "No component has a fault of this sensor.\n");
}

TEST_F(Changing, HidesNothingOfAMissingComponent)
{
    const Answer answer = healthctl({"hide", "--component", "rack/fam"});
    EXPECT_EQ(answer.status, 6);
    EXPECT_EQ(answer.errors, "healthctl: there is no component \"rack/fam\"; "
                             "\"healthctl tree\" shows all\n");
}

TEST_F(Changing, RequiresATarget)
{
    const Answer answer = healthctl({"hide"});
    EXPECT_EQ(answer.status, 2);
    EXPECT_THAT(answer.errors, HasSubstr("nothing is named; give --component"));
}

TEST_F(Changing, RefusesANameThatComponentsRefuse)
{
    EXPECT_EQ(
        healthctl({"hide", "--sensor-path", std::string(1024, 'p')}).status, 0);
    const Answer answer =
        healthctl({"hide", "--sensor-path", std::string(1025, 'p')});
    EXPECT_EQ(answer.status, 2);
    EXPECT_EQ(answer.errors, "healthctl: a name has 1025 bytes; components "
                             "obey names of up to 1024\n");
}

TEST_F(Changing, HidesByTheLcdsSettings)
{
    EXPECT_EQ(toJson({"lcd", "get", "hideerrs"})["attributes"][0]["value"],
              nullptr);
    EXPECT_EQ(toJson({"lcd", "set", "oemLCDFlags",
                      "1"})["attributes"][0]["attribute"],
              "system.embedded.1#lcd.1#oemLCDFlags");
    client.waitForHealth(root, 2);
    EXPECT_EQ(healthctl({"lcd", "set", "oemLCDFlags", "0"}).status, 0);
    client.waitForHealth(root, 4);
    // The components reset the attributes when they show their faults.
    EXPECT_EQ(healthctl({"lcd", "get"}).output,
              "hideerrs     1\noemLCDFlags  0\n");
}

TEST_F(Changing, RefusesAnUnknownSetting)
{
    const Answer answer = healthctl({"lcd", "get", "brightness"});
    EXPECT_EQ(answer.status, 2);
    EXPECT_THAT(answer.errors, HasSubstr("hideerrs, oemLCDFlags"));
}

TEST_F(Changing, SetsNothingWithoutAValueOrAName)
{
    EXPECT_EQ(healthctl({"lcd", "set", "hideerrs", "1"}).status, 0);
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"lcd", "set", "hideerrs", ""},
          {"lcd", "set", "", "0"}})
    {
        const Answer answer = healthctl(words);
        EXPECT_EQ(answer.status, 2);
        EXPECT_THAT(answer.errors, HasSubstr("\"healthctl lcd set --help\""));
    }
    EXPECT_EQ(healthctl({"lcd", "get", "hideerrs"}).output, "hideerrs     1\n");
}

TEST_F(Changing, ReadsLeadingZerosAsDecimalDigits)
{
    EXPECT_EQ(healthctl({"lcd", "set", "hideerrs", "010"}).output,
              "hideerrs  10\n");
    EXPECT_EQ(toJson({"hide", "--sensor-number", "010"})["sensorNumber"], 10);
}

TEST_F(Changing, SetsNothingWithoutAHealthManager)
{
    healthmgr.kill();
    client.waitUntil("end of the manager", [this] {
        return client.findOwner("com.vexa.olvar.healthmgr").empty();
    });
    const Answer answer = healthctl({"lcd", "set", "hideerrs", "0"});
    EXPECT_EQ(answer.status, 3);
    EXPECT_EQ(answer.errors,
              "healthctl: system.embedded.1#lcd.1#hideerrs was not set: "
              "healthmgr is not running; start it\n");
    EXPECT_EQ(healthctl({"lcd", "get", "hideerrs"}).output,
              "hideerrs     not set\n");
}

TEST_F(Changing, DismissesALostMonitor)
{
    loseMonitors();
    const Answer first = healthctl({"dismiss", "rack/fan"});
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.output, "Dismissed the lost monitor of rack/fan.\n");
    client.waitForHealth(root, 3);
    EXPECT_EQ(toJson({"dismiss", psu})["components"], nlohmann::json({psu}));
    client.waitForHealth(root, 0);
    const Answer second = healthctl({"dismiss", "rack/fan"});
    EXPECT_EQ(second.status, 6);
    EXPECT_EQ(second.errors,
              "healthctl: the component \"rack/fan\" has no lost monitor; "
              "\"healthctl faults\" shows those that have one\n");
}

TEST_F(Changing, DismissesSeveralLostMonitorsAndNamesThoseThatAreNone)
{
    loseMonitors();
    const Answer answer = healthctl({"dismiss", "rack/fan", "rack", psu});
    EXPECT_EQ(answer.status, 6);
    EXPECT_EQ(answer.output, "Dismissed the lost monitor of rack/fan.\n"
                             "Dismissed the lost monitor of rack/psu.\n");
    EXPECT_EQ(answer.errors,
              "healthctl: the component \"rack\" has no lost monitor; "
              "\"healthctl faults\" shows those that have one\n");
    client.waitForHealth(root, 0);
}

TEST_F(Changing, DismissesNothingOfAWatchedOrMissingComponent)
{
    for (const char* component : {"rack/fan", "rack/fam", "rack", "/elsewhere"})
    {
        EXPECT_EQ(healthctl({"dismiss", component}).status, 6) << component;
    }
    EXPECT_EQ(client.health(daemon.name(), fan), 4U);
}

TEST_F(Changing, DismissesNothingWithoutAComponent)
{
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"dismiss"},
          {"dismiss", "rack//fan"},
          {"dismiss", "rack/fan", "rack//psu"}})
    {
        EXPECT_EQ(healthctl(words).status, 2);
    }
}

TEST_F(Changing, DismissesNothingWhileTheHealthManagerIsStopped)
{
    loseMonitors();
    healthmgr.signal(SIGSTOP);
    const Answer answer = healthctl({"dismiss", "rack/fan"});
    EXPECT_EQ(answer.status, 5);
    EXPECT_EQ(answer.errors,
              "healthctl: the health manager did not answer within 5 seconds, "
              "and may still do it; see the log of healthmgr\n");
    healthmgr.signal(SIGCONT);
    client.waitForHealth(root, 3);
}

TEST(ChangingWhereNothingRuns, DismissesNothing)
{
    const PrivateBus bus;
    const Answer answer = healthctl({"dismiss", "rack/fan"});
    EXPECT_EQ(answer.status, 3);
    EXPECT_EQ(answer.errors, "healthctl: healthmgr is not running; start it\n");
}

TEST(ChangingWhereNothingRuns, HidesNothing)
{
    const PrivateBus bus;
    const Answer answer = healthctl({"hide", "--sensor-number", "7"});
    EXPECT_EQ(answer.status, 3);
    EXPECT_THAT(answer.errors, HasSubstr("nothing runs"));
}

TEST(ChangingWhereNothingRuns, DoesNotKnowWhatIsSetWhenTheBusEnds)
{
    PrivateBus bus;
    FalseManager manager;
    Process setting({HEALTHCTL, "lcd", "set", "hideerrs", "0"});
    manager.waitForACall();
    bus.kill();
    EXPECT_EQ(setting.wait(), 3);
    EXPECT_EQ(setting.errors(),
              "healthctl: system.embedded.1#lcd.1#hideerrs was not set: the "
              "bus ended before healthmgr answered; \"healthctl lcd get\" "
              "shows whether it is set all the same\n");
}

/** A system bus with the installed policy. */
class ForOthers : public testing::Test
{
  protected:
    ForOthers()
    {
        letOthersIn(bus);
        client.waitForHealth(fan, 2);
        client.waitForHealth("/com/vexa/olvar/health", 2);
    }

    static Answer asOther(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> command{HEALTHCTL};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return runProgram(as(Caller::stranger, command));
    }

    const std::string fan = "/com/vexa/olvar/health/rack/fan";
    PrivateBus bus{systemRules + installedRules("com.vexa.olvar.healthmgr")};
    BusClient client;
    Process healthmgr{{HEALTHMGR}};
    Component daemon{fan, 2};
};

TEST_F(ForOthers, TheDataCacheProvidesTheTree)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can become another user";
    }
    const Answer answer = asOther({"tree", "--json"});
    EXPECT_EQ(answer.status, 0) << answer.errors;
    const json document = json::parse(answer.output);
    EXPECT_EQ(document["source"], "cache");
    EXPECT_EQ(document["trees"][0]["children"][0]["children"][0]["key"], fan);
}

TEST_F(ForOthers, HidingIsRefusedInOneLine)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can become another user";
    }
    const Answer answer = asOther({"hide", "--sensor-number", "7"});
    EXPECT_EQ(answer.status, 4);
    EXPECT_EQ(answer.errors, "healthctl: the bus did not pass it on for this "
                             "user; try again as root or as a member of the "
                             "group healthintf-operators\n");
}

TEST_F(ForOthers, DismissingIsRefusedInOneLine)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can become another user";
    }
    const Answer answer = asOther({"dismiss", "rack/fan"});
    EXPECT_EQ(answer.status, 4);
    EXPECT_EQ(answer.errors,
              "healthctl: the bus policy does not let this user do that; try "
              "again as root or as a member of the group "
              "healthintf-operators\n");
}

TEST_F(ForOthers, SettingIsRefusedInOneLine)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can become another user";
    }
    const Answer answer = asOther({"lcd", "set", "hideerrs", "0"});
    EXPECT_EQ(answer.status, 4);
    EXPECT_EQ(answer.errors,
              "healthctl: system.embedded.1#lcd.1#hideerrs was not set: it is "
              "not permitted; try again as root or as a member of the group "
              "healthintf-operators, and where that fails, too, see "
              "healthmgr's log\n");
}

} // namespace
} // namespace healthintf::test
