// SPDX-License-Identifier: Apache-2.0
/** @file healthctl's commands that change nothing, on a running tree. */

#include "healthctl.hpp"
#include "log_client.hpp"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Reading : public HealthctlTest
{
  protected:
    Reading()
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
        daemon.add(fan, "Test.1.0.Loud", "/sensors/noise", 1, 8);
        // Wait for critical: both nodes are at warning before and afterwards.
        client.waitForHealth(fan, 4);
        client.waitForHealth(root, 4);
        daemon.add(psu, "Test.1.0.Low", "/sensors/volt", 2, 9);
        daemon.expect("hide 1 - /sensors/noise 0", "0");
        client.waitForHealth(fan, 3);
        client.waitForHealth(root, 3);
    }

    /** The nodes of a tree by key, without their children. */
    static std::map<std::string, json> flat(const json& trees)
    {
        std::map<std::string, json> nodes;
        for (const json& tree : trees)
        {
            nodes.emplace(tree["key"], tree);
            nodes.merge(flat(tree["children"]));
        }
        return nodes;
    }

    /** Expects no trace of the daemon, while another one holds the node
     *  "other". */
    void expectNothingOfTheDaemon() const
    {
        const auto nodes = flat(toJson({"tree"})["trees"]);
        EXPECT_EQ(nodes.count(fan), 0U);
        EXPECT_EQ(nodes.count(psu), 0U);
        EXPECT_EQ(nodes.count(root + "/other"), 1U);
        EXPECT_TRUE(toJson({"faults", "--all"}, 1)["faults"].empty());
        EXPECT_TRUE(toJson({"top"}, 1)["faults"].empty());
        EXPECT_EQ(toJson({"count"})["visible"], 0);
    }

    /** The names of the files of the data cache. */
    std::set<std::string> segments() const
    {
        std::set<std::string> names;
        for (const auto& file : std::filesystem::directory_iterator(
                 bus.folder().path() / "run/datacache"))
        {
            names.insert(file.path().filename());
        }
        return names;
    }

    static std::vector<std::string> listIds(const json& document)
    {
        std::vector<std::string> ids;
        for (const json& fault : document["faults"])
        {
            ids.push_back(fault["messageId"]);
        }
        return ids;
    }
};

TEST_F(Reading, TreeDistinguishesOwnFromInheritedHealth)
{
    const auto nodes = flat(toJson({"tree"})["trees"]);
    ASSERT_EQ(nodes.size(), 4U);
    EXPECT_EQ(nodes.at(fan)["health"], "warning");
    EXPECT_EQ(nodes.at(fan)["origin"], json({"faults"}));
    EXPECT_EQ(nodes.at(fan)["visibleFaults"], 1);
    EXPECT_EQ(nodes.at(fan)["hiddenFaults"], 1);
    EXPECT_EQ(nodes.at(rack)["health"], "warning");
    EXPECT_EQ(nodes.at(rack)["origin"], json({"children"}));
    EXPECT_THAT(nodes.at(rack)["holder"].get<std::string>(),
                HasSubstr("healthmgr["));
}

TEST_F(Reading, TreeDrawsOneComponentWithItsFaults)
{
    const Answer answer = healthctl({"tree", "rack/fan", "--faults"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.output, HasSubstr(fan + "  warning  own"));
    EXPECT_THAT(answer.output, HasSubstr("• A fault of /sensors/fan\n"));
    EXPECT_THAT(answer.output,
                HasSubstr("• A fault of /sensors/noise (hidden)\n"));
    EXPECT_THAT(answer.output, Not(HasSubstr("volt")));
}

TEST_F(Reading, EscapesControlCharactersInTexts)
{
    daemon.add(psu, "Test.1.0.Slow", "/s\x1b[2J\u202Eod\u2028", 1, 7);
    client.waitForHealth(root, 4);
    using Words = std::vector<std::string>;
    for (const Words& words :
         {Words{"tree", "--faults"}, Words{"faults"}, Words{"top"},
          Words{"faults", "--json"}, Words{"tree", "--faults", "--json"}})
    {
        const Answer answer = healthctl(words);
        EXPECT_THAT(answer.output, HasSubstr("u202eod"));
        EXPECT_THAT(answer.output, Not(HasSubstr("\x1b")));
        EXPECT_THAT(answer.output, Not(HasSubstr("\u202E")));
        EXPECT_THAT(answer.output, Not(HasSubstr("\u2028")));
    }
}

TEST_F(Reading, TreeStopsAtTheRequestedDepth)
{
    const auto nodes = flat(toJson({"tree", "--depth", "1"})["trees"]);
    EXPECT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes.count(rack), 1U);
}

TEST_F(Reading, TreeHasOnlyProblemsOnDemand)
{
    const auto nodes = flat(toJson({"tree", "--problems"})["trees"]);
    EXPECT_EQ(nodes.size(), 4U);
    daemon.remove(psu, "Test.1.0.Low", "/sensors/volt");
    client.waitForHealth(psu, 2);
    const auto fewer = flat(toJson({"tree", "--problems"})["trees"]);
    EXPECT_EQ(fewer.size(), 3U);
    EXPECT_FALSE(fewer.contains(psu));
    EXPECT_EQ(healthctl({"tree", "-p", "rack/psu"}).output, "No problems.\n");
    EXPECT_EQ(healthctl({"tree", "-p", "rack/psu", "--paths"}).output, "");
    EXPECT_TRUE(toJson({"tree", "-p", "rack/psu"})["trees"].empty());
    EXPECT_EQ(healthctl({"tree", "-p", "rack/nothing"}).status, 6);
}

TEST_F(Reading, ShowsLostMonitorsInPlaceOfADeadProcess)
{
    constexpr const char* manager = "com.vexa.olvar.healthmgr";
    constexpr const char* lostMonitor = "HealthManager.1.0.MonitorLost";
    daemon.process.kill();
    for (const std::string& key : {fan, psu})
    {
        client.waitUntil("lost monitor of " + key, [&] {
            return client.hasNode(manager, key) &&
                   client.health(manager, key) == 3;
        });
    }
    const auto nodes = flat(toJson({"tree"})["trees"]);
    for (const std::string& key : {fan, psu})
    {
        EXPECT_THAT(nodes.at(key)["holder"].get<std::string>(),
                    HasSubstr("healthmgr["));
        EXPECT_EQ(nodes.at(key)["health"], "warning");
        EXPECT_EQ(nodes.at(key)["visibleFaults"], 1);
        EXPECT_EQ(nodes.at(key)["hiddenFaults"], 0);
    }
    EXPECT_THAT(listIds(toJson({"faults", "--all"})),
                ElementsAre(lostMonitor, lostMonitor));
    EXPECT_EQ(toJson({"count"})["visible"], 2);
}

TEST_F(Reading, ShowsNothingOfADeadProcessWhileHealthmgrIsStopped)
{
    const Component other(root + "/other", 2);
    kill(healthmgr.pid(), SIGSTOP);
    waitpid(healthmgr.pid(), nullptr, WUNTRACED);
    const auto before = segments();
    daemon.process.kill();
    expectNothingOfTheDaemon();
    EXPECT_EQ(segments(), before)
        << "the stopped healthmgr has removed no segment";
}

TEST_F(Reading, TreeMarksANodeWithoutAParent)
{
    healthmgr.signal(SIGTERM);
    healthmgr.wait();
    const auto nodes = flat(toJson({"tree"})["trees"]);
    EXPECT_EQ(nodes.at(fan)["parentMissing"], true);
    EXPECT_EQ(nodes.at(rack)["health"], nullptr);
    EXPECT_THAT(healthctl({"tree"}).output, HasSubstr("no parent"));
}

TEST_F(Reading, TreeListsPathsForOtherPrograms)
{
    EXPECT_EQ(healthctl({"tree", "--paths"}).output,
              root + "\nrack\nrack/fan\nrack/psu\n");
    EXPECT_EQ(healthctl({"tree", "--paths", "--depth", "1"}).output,
              root + "\nrack\n");
    EXPECT_EQ(healthctl({"tree", "--paths", "--depth", "0", "rack"}).output,
              "rack\n");
}

TEST_F(Reading, FaultsAreTheVisibleOnesTheMostSevereFirst)
{
    EXPECT_THAT(listIds(toJson({"faults"})),
                ElementsAre("Test.1.0.Slow", "Test.1.0.Low"));
    EXPECT_THAT(listIds(toJson({"faults", "--all"})),
                ElementsAre("Test.1.0.Loud", "Test.1.0.Slow", "Test.1.0.Low"));
    EXPECT_THAT(listIds(toJson({"faults", "--hidden"})),
                ElementsAre("Test.1.0.Loud"));
}

TEST_F(Reading, FaultsAreChosenByComponentAndSeverity)
{
    EXPECT_THAT(listIds(toJson({"faults", "--component", "rack/psu"})),
                ElementsAre("Test.1.0.Low"));
    EXPECT_THAT(listIds(toJson({"faults", "--all", "--severity", "CRITICAL"})),
                ElementsAre("Test.1.0.Loud"));
    EXPECT_THAT(listIds(toJson({"faults", "--all", "--sort", "component",
                                "--reverse", "--limit", "1"})),
                ElementsAre("Test.1.0.Low"));
}

TEST_F(Reading, FaultsReportsThatThereAreNoneByItsExitCode)
{
    EXPECT_TRUE(toJson({"faults", "-s", "unknown"}, 1)["faults"].empty());
    EXPECT_EQ(healthctl({"faults", "-s", "unknown"}).output,
              "No such faults.\n0 of 2 faults\n");
}

TEST_F(Reading, FaultsAreChosenByWhatTheySay)
{
    EXPECT_THAT(listIds(toJson({"faults", "--message", "Slow"})),
                ElementsAre("Test.1.0.Slow"));
    EXPECT_THAT(listIds(toJson({"faults", "-m", "Test.1.0.Slow", "-m", "Low"})),
                ElementsAre("Test.1.0.Slow", "Test.1.0.Low"));
    EXPECT_THAT(listIds(toJson({"faults", "--text", "OF /SENSORS/V"})),
                ElementsAre("Test.1.0.Low"));
}

TEST_F(Reading, FaultsAreChosenByWhenTheyAppeared)
{
    EXPECT_EQ(toJson({"faults", "--since", "10m"})["faults"].size(), 2U);
    EXPECT_TRUE(toJson({"faults", "--until", "10m"}, 1)["faults"].empty());
    const Answer wrong = healthctl({"faults", "--since", "soon"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.errors, HasSubstr("\"soon\" is no time; write it as"));
}

TEST_F(Reading, FaultsSaysHowManyItListsOfHowMany)
{
    EXPECT_EQ(toJson({"faults", "--limit", "1"})["total"], 2);
    EXPECT_EQ(toJson({"faults", "--hidden"})["total"], 1);
    EXPECT_THAT(healthctl({"faults", "--all"}).output,
                HasSubstr("\n3 faults\n"));
    EXPECT_THAT(healthctl({"faults", "--limit", "1"}).output,
                HasSubstr("\n1 of 2 faults\n"
                          "1 hidden fault is not shown (see --all)\n"));
    EXPECT_THAT(healthctl({"faults", "--hidden"}).output,
                Not(HasSubstr("1 fault")));
}

TEST_F(Reading, FaultsAreInShortALineEach)
{
    const std::string lines = healthctl({"faults", "--short"}).output;
    EXPECT_THAT(lines, HasSubstr("  rack/fan  A fault of /sensors/fan"));
    EXPECT_THAT(lines, Not(HasSubstr("sensor /sensors/fan")));
    EXPECT_EQ(healthctl({"faults", "--short", "--long"}).status, 2);
}

/** A registry with one of the messages of the daemon's faults. */
constexpr const char* testRegistry = R"({
    "RegistryPrefix": "Test", "RegistryVersion": "1.0.7", "Language": "en",
    "Messages": {"Slow": {
        "Message": "%1 turns at %2.", "MessageSeverity": "Warning",
        "NumberOfArgs": 2, "Description": "It turns slowly.",
        "Resolution": "Clean \u001b[2J it.", "ParamTypes": ["string"],
        "ArgDescriptions": ["The fan."]}}})";

/** The same with a registry of healthctl's own. */
class Explaining : public Reading
{
  protected:
    Explaining() :
        file(bus.folder().write("registries/test.json", testRegistry))
    {
        setenv("HEALTHINTF_REGISTRY_PATH", file.parent_path().c_str(), 1);
        setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
    }

    ~Explaining() override
    {
        unsetenv("HEALTHINTF_REGISTRY_PATH");
        unsetenv("HEALTHINTF_EVENT_PATH");
    }

    std::filesystem::path file;
};

TEST_F(Explaining, FaultsAreExplainedByTheirRegistry)
{
    EXPECT_THAT(healthctl({"faults", "--explain"}).output,
                HasSubstr("  A fault of /sensors/fan\n"
                          "  sensor /sensors/fan, number 7\n"
                          "    Description  It turns slowly.\n"
                          "    Resolution   Clean \\x1b[2J it.\n"
                          "    %1           The fan: one\n"
                          "    %2           two\n"));
    const json explained = toJson({"faults", "--explain"})["faults"];
    EXPECT_EQ(explained[0]["explanation"]["id"], "Test.1.0.7.Slow");
    EXPECT_EQ(explained[0]["explanation"]["arguments"][0]["value"], "one");
    EXPECT_FALSE(toJson({"faults"})["faults"][0].contains("explanation"));
}

TEST_F(Explaining, FaultsOfNoRegistryAreSaidToBeSo)
{
    const std::vector<std::string> words{"faults", "-c", "rack/psu",
                                         "--explain"};
    EXPECT_THAT(healthctl(words).output,
                HasSubstr("\n    Not explained: no message registry and no "
                          "event table has this message.\n"));
    EXPECT_EQ(toJson(words)["faults"][0]["explanation"], nullptr);
}

TEST_F(Explaining, AMessageIsExplainedByEveryFormOfItsIdentifier)
{
    for (const char* id :
         {"Slow", "Test.Slow", "Test.1.0.Slow", "Test.1.0.7.Slow"})
    {
        EXPECT_EQ(healthctl({"explain", id}).output,
                  "Identifier   Test.1.0.7.Slow\n"
                  "Severity     warning\n"
                  "Message      %1 turns at %2.\n"
                  "Description  It turns slowly.\n"
                  "Resolution   Clean \\x1b[2J it.\n"
                  "%1           string: The fan.\n"
                  "%2           not given\n"
                  "File         " +
                      file.string() + "\n");
    }
    EXPECT_EQ(toJson({"explain", "Slow"})["file"], file.string());
}

TEST_F(Explaining, AnEventIsExplainedByTheEventTable)
{
    EXPECT_EQ(healthctl({"explain", "SEC1031"}).output,
              "Identifier   SEC1031\n"
              "Severity     informational\n"
              "Message      The chassis is closed again ({sensor}).\n"
              "Sensor type  Physical Security\n"
              "State        offset 0x00, deasserted\n"
              "{sensor}     string: The name of the sensor.\n"
              "File         " SHIPPED_EVENTS "/ipmi-sensor-types.json\n");
    const json event = toJson({"explain", "SEC1031"})["event"];
    EXPECT_EQ(event["sensorType"], "Physical Security");
    EXPECT_EQ(event["eventType"], nullptr);
}

TEST_F(Explaining, TheFaultOfAnEventIsExplainedByTheEventTable)
{
    LogClient log;
    const Process running = log.start();
    Component reporter(rack + "/air", 2);
    EXPECT_EQ(reporter.process.ask("event " + rack +
                                   "/air /sensors/air "
                                   "00000200000000200004013001595A55"),
              "0");
    client.waitForHealth(rack + "/air", 4);
    const Answer answer = healthctl({"faults", "-c", "rack/air", "--explain"});
    EXPECT_THAT(answer.output,
                HasSubstr("TMP0109\n"
                          "  Temperature sensor 0x30 went above its upper "
                          "critical threshold, raw reading 0x5A, threshold "
                          "0x55.\n"));
    EXPECT_THAT(
        answer.output,
        HasSubstr(
            "    {sensor}     The name of the sensor: Temperature sensor 0x30\n"
            "    {reading}    The raw reading that caused the event: 0x5A\n"
            "    {threshold}  The raw threshold that was crossed: 0x55\n"));
}

TEST_F(Explaining, AnUnknownMessageIsNotThere)
{
    const Answer answer = healthctl({"explain", "Test.1.1.Sl\x1bow"});
    EXPECT_EQ(answer.status, 6);
    EXPECT_EQ(answer.output, "");
    EXPECT_EQ(answer.errors,
              "healthctl: no message registry and no event table has a message "
              "\"Test.1.1.Sl\\x1bow\"; \"healthctl faults\" shows the "
              "identifiers of faults, and \"healthctl doctor\" the files that "
              "cannot be used\n");
}

TEST_F(Explaining, AMessageIsExplainedWithoutABus)
{
    bus.kill();
    EXPECT_EQ(healthctl({"explain", "Slow"}).status, 0);
}

TEST_F(Reading, TopIsTheMostImportantBelowAComponent)
{
    EXPECT_THAT(listIds(toJson({"top", "1"})).size(), 1U);
    EXPECT_THAT(listIds(toJson({"top", "5", "--component", "rack/psu"})),
                ElementsAre("Test.1.0.Low"));
    // A prefix of a component's name does not select the component.
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"top", "--component", "rack/ps"},
          {"faults", "--component", "rack/ps", "--severity", "critical"},
          {"tree", "rack/ps", "--json"}})
    {
        const Answer unknown = healthctl(command);
        EXPECT_EQ(unknown.status, 6);
        EXPECT_EQ(unknown.errors,
                  "healthctl: there is no component \"rack/ps\"; \"healthctl "
                  "tree\" shows all\n");
    }
}

TEST_F(Reading, CountDistinguishesVisibleAndHiddenFaults)
{
    const json counted = toJson({"count"});
    EXPECT_EQ(counted["visible"], 2);
    EXPECT_EQ(counted["hidden"], 1);
    EXPECT_EQ(healthctl({"count"}).output, "visible  2\nhidden   1\n");
}

TEST_F(Reading, LedsShowsAllSix)
{
    const json leds = toJson({"leds"})["leds"];
    EXPECT_EQ(leds.size(), 6U);
    EXPECT_TRUE(std::none_of(leds.begin(), leds.end(), [](const json& led) {
        return led["asked"].get<bool>();
    }));
    EXPECT_THAT(healthctl({"leds"}).output, HasSubstr("state 6  -\n"));
}

TEST_F(Reading, BusShowsTheSameAsTheCache)
{
    for (const char* id : {"C", "B", "D", "A", "F", "E"})
    {
        daemon.add(fan, std::string("Test.1.0.") + id, "/sensors/tie", 1);
    }
    client.waitForHealth(root, 4);
    // This client's connection does not answer while the test waits.
    sd_bus_close(client.get());
    const auto from = [](std::vector<std::string> command, const char* source) {
        command.insert(command.end(), {"--source", source});
        json document = toJson(command);
        EXPECT_EQ(document["source"], source);
        document.erase("source");
        return document;
    };
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"tree", "--faults"},
          {"faults", "--all"},
          {"top"},
          {"top", "3"},
          {"count"},
          {"leds"}})
    {
        EXPECT_EQ(from(command, "bus"), from(command, "cache"))
            << command.front();
    }
    EXPECT_EQ(listIds(toJson({"top", "3"})),
              listIds(toJson({"faults", "--limit", "3"})));
}

TEST_F(Reading, BusShowsTheYoungerOfTwoHoldersAsTheCacheDoes)
{
    sd_bus_close(client.get());
    const std::string key = root + "/both";
    Component older(key, 3);
    // A later unique name may sort before an earlier one, such as :1.10.
    while (Component().init(root + "/other", 2).size() == older.name().size())
    {}
    const Component younger(key, 2);
    for (const char* source : {"cache", "bus"})
    {
        EXPECT_THAT(healthctl({"tree", key, "--source", source}).output,
                    HasSubstr("[" + std::to_string(younger.process.pid())))
            << source;
    }
}

TEST_F(Reading, BusHasNoKeyThatIsTooLongForARecord)
{
    // Any process may export any path, such as a key of a million levels.
    sd_bus_close(client.get());
    std::string deep = root;
    while (deep.size() <= 510)
    {
        deep += "/deep";
    }
    Component odd;
    odd.init(deep, 2);
    const std::string tree = toJson({"tree", "--source", "bus"}).dump();
    EXPECT_NE(tree.find(fan), std::string::npos);
    EXPECT_EQ(tree.find("deep/deep"), std::string::npos);
}

TEST_F(Reading, BusWaitsALimitedTimeForSilentProcesses)
{
    EXPECT_EQ(toJson({"count", "--source", "bus"})["visible"], 2);
}

TEST_F(Reading, BusNamesSilentProcesses)
{
    sd_bus_close(client.get());
    healthmgr.signal(SIGSTOP);
    const Answer tree = healthctl({"tree", "--source", "bus"});
    EXPECT_EQ(tree.status, 0);
    EXPECT_EQ(tree.errors, "healthctl: what healthmgr[" +
                               std::to_string(healthmgr.pid()) +
                               "] has is missing: it did not answer\n");
    const Answer count = healthctl({"count", "--source", "bus"});
    EXPECT_EQ(count.errors, tree.errors);
}

TEST_F(Reading, BusCallsNoComponentMissingWhileAProcessIsSilent)
{
    sd_bus_close(client.get());
    healthmgr.signal(SIGSTOP);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"tree", "rack"},
          {"faults", "-s", "unknown", "-c", "rack"}})
    {
        std::vector<std::string> words = command;
        words.insert(words.end(), {"--source", "bus"});
        const Answer answer = healthctl(words);
        // The tree infers the node from its children.
        const bool isTree = command.front() == "tree";
        EXPECT_EQ(answer.status, isTree ? 0 : 3) << command.front();
        EXPECT_THAT(answer.errors, HasSubstr("did not answer"));
        EXPECT_THAT(answer.errors, Not(HasSubstr("there is no component")));
    }
}

class NothingRuns : public testing::Test
{
  protected:
    PrivateBus bus;
};

TEST_F(NothingRuns, IsReportedInOneLineAndCreatesNothing)
{
    const auto cache = bus.folder().path() / "run";
    const Answer answer = healthctl({"tree"});
    EXPECT_EQ(answer.status, 3);
    EXPECT_EQ(answer.output, "");
    EXPECT_THAT(answer.errors,
                testing::StartsWith("healthctl: nothing runs: there is no data "
                                    "cache in use and no health node"));
    EXPECT_EQ(std::count(answer.errors.begin(), answer.errors.end(), '\n'), 1);
    EXPECT_FALSE(std::filesystem::exists(cache));
}

TEST_F(NothingRuns, IsReportedForABusThatDoesNotAnswer)
{
    bus.freeze();
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"count"},
          {"hide", "--sensor-number", "1"},
          {"sel", "info"}})
    {
        const Answer answer = healthctl(command);
        EXPECT_EQ(answer.status, 3) << command.front();
        EXPECT_EQ(answer.errors,
                  "healthctl: unable to connect to the bus: Connection timed "
                  "out; see whether the D-Bus daemon is stopped\n")
            << command.front();
    }
}

TEST_F(NothingRuns, IsReportedForAMissingBus)
{
    bus.kill();
    const Answer answer = healthctl({"count"});
    EXPECT_EQ(answer.status, 3);
    EXPECT_THAT(answer.errors, HasSubstr("unable to connect to the bus"));
}

} // namespace
} // namespace healthintf::test
