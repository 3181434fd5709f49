// SPDX-License-Identifier: Apache-2.0
/** @file healthctl's silences, on a running tree. */

#include "healthctl.hpp"
#include "installed_policy.hpp"

#include <gmock/gmock.h>

#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

using Words = std::vector<std::string>;

const std::string date = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}";

class Silencing : public HealthctlTest
{
  protected:
    Silencing()
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 1, 7);
        client.waitForHealth(root, 4);
    }

    static Words addition(const Words& target, const std::string& length = "2h")
    {
        Words words{"silence", "add"};
        words.insert(words.end(), target.begin(), target.end());
        words.insert(words.end(),
                     {"--for", length, "--comment", "a new fan comes"});
        return words;
    }
};

TEST_F(Silencing, HidesTheFaultsOfEachKindOfTarget)
{
    uint64_t id = 0;
    for (const Words& target : {Words{"--component", "rack/fan"},
                                {"--sensor-path", "/sensors/fan"},
                                {"--sensor-number", "7"}})
    {
        const json added = toJson(addition(target));
        EXPECT_EQ(added["id"], ++id);
        EXPECT_EQ(added["seconds"], 7200);
        EXPECT_EQ(added["components"], 1);
        EXPECT_EQ(added["faults"], 1);
        client.waitForHealth(root, 2);
        EXPECT_EQ(toJson({"silence", "end", std::to_string(id)})["id"], id);
        client.waitForHealth(root, 4);
    }
}

TEST_F(Silencing, SaysWhatItDid)
{
    EXPECT_EQ(healthctl(addition({"--component", "rack/fan"})).output,
              "Began silence 1 of rack/fan. Asked 1 component to hide 1 "
              "fault.\n");
    EXPECT_EQ(healthctl({"silence", "end", "1"}).output, "Ended silence 1.\n");
}

TEST_F(Silencing, ListsTheSilences)
{
    const Answer none = healthctl({"silence", "list"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "No silences.\n");
    healthctl(addition({"--component", "rack/fan"}));
    healthctl(addition({"--sensor-number", "7"}));
    const json all = toJson({"silence", "list"})["silences"];
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0]["component"], fan);
    EXPECT_EQ(all[0]["uid"], getuid());
    EXPECT_EQ(all[0]["comment"], "a new fan comes");
    EXPECT_EQ(all[1]["sensorNumber"], 7);
    EXPECT_THAT(healthctl({"silence", "list"}).output,
                testing::ContainsRegex("1  rack/fan +until " + date +
                                       "  by [^\n]+\n   a new fan comes\n"
                                       "   since " +
                                       date + "\n2  sensor number 7  until "));
}

TEST_F(Silencing, IsShownByTreeAndFaults)
{
    healthctl(addition({"--component", "rack/fan"}));
    client.waitForHealth(root, 2);
    const std::string line = "silence 1 hides rack/fan since " + date +
                             " until " + date +
                             " by [^\n]+: a new fan "
                             "comes\n";
    EXPECT_THAT(healthctl({"tree"}).output, testing::ContainsRegex(line));
    EXPECT_THAT(healthctl({"tree", "--faults"}).output,
                HasSubstr(" (silence 1)\n"));
    EXPECT_THAT(healthctl({"tree", "rack/psu"}).output,
                Not(HasSubstr("silence")));
    EXPECT_THAT(healthctl({"faults"}).output,
                MatchesRegex("No such faults.\n1 hidden fault is not shown "
                             "\\(see --all\\)\n" +
                             line));
    EXPECT_THAT(healthctl({"faults", "--all"}).output,
                HasSubstr("Test.1.0.Slow  silence 1\n"));
    EXPECT_THAT(healthctl({"faults", "--component", "rack/psu"}).output,
                Not(HasSubstr("silence")));
    const json faults = toJson({"faults", "--all"});
    EXPECT_EQ(faults["faults"][0]["silences"], json::array({1}));
    EXPECT_EQ(faults["silences"][0]["component"], fan);
    const json tree = toJson({"tree", "--faults"});
    EXPECT_EQ(tree["silences"][0]["id"], 1);
}

TEST_F(Silencing, IsToldApartFromHidingByHand)
{
    healthctl({"hide", "--component", "rack/fan"});
    client.waitForHealth(root, 2);
    EXPECT_THAT(healthctl({"faults", "--all"}).output,
                HasSubstr("Test.1.0.Slow  hidden\n"));
    EXPECT_EQ(toJson({"faults", "--all"})["faults"][0]["silences"],
              json::array());
}

TEST_F(Silencing, IsNamedByThoseWhoShowItsFaults)
{
    healthctl(addition({"--component", "rack/fan"}));
    client.waitForHealth(root, 2);
    const Words show{"unhide", "--component", "rack/fan"};
    EXPECT_THAT(healthctl(show).output,
                HasSubstr("Asked 1 component to show 1 fault.\n"
                          "silence 1 hides rack/fan since "));
    EXPECT_EQ(toJson(show)["silences"][0]["id"], 1);
    EXPECT_EQ(toJson({"unhide", "--sensor-number", "7"})["silences"],
              json::array());
    EXPECT_EQ(toJson({"hide", "--component", "rack/fan"})["silences"],
              json::array());
}

TEST_F(Silencing, LastsOverRestartsAndEndsByItself)
{
    healthctl(addition({"--component", "rack/fan"}, "6s"));
    client.waitForHealth(root, 2);
    daemon.process.kill();
    healthmgr.kill();
    const Process nextManager({HEALTHMGR});
    Component next(fan, 2);
    next.add(fan, "Test.1.0.Slow", "/sensors/fan", 1, 7);
    client.waitForHealth(fan, 4);
    client.waitForHealth(fan, 2);
    client.waitForHealth(fan, 4);
    EXPECT_EQ(healthctl({"silence", "list"}).output, "No silences.\n");
}

TEST_F(Silencing, RequiresOneTargetALengthAndAComment)
{
    for (const auto& [words, error] :
         std::vector<std::pair<Words, std::string>>{
             {addition({}), "nothing is named; give --component"},
             {addition({"--component", "rack/fan", "--sensor-number", "7"}),
              "several things are named"},
             {addition({"--sensor-number", "7"}, "2 hours"),
              "\"2 hours\" is no length of time; write it as 30s, 10m, 2h"},
             {addition({"--sensor-number", "7"}, "0s"),
              "a silence lasts 1 second to 366 days"},
             {addition({"--sensor-number", "7"}, "367d"),
              "a silence lasts 1 second to 366 days"},
             {{"silence", "add", "--sensor-number", "7", "--for", "2h"},
              "--comment is required"},
             {{"silence", "add", "--sensor-number", "7", "--for", "2h",
               "--comment", "two\nlines"},
              "a comment must be one line of printable"},
             {{"silence", "add", "--sensor-number", "7", "--for", "2h",
               "--comment", "\xFF"},
              "a comment must be one line of printable UTF-8"},
             {{"silence", "end", "x"}, "\"x\" is no number"},
             {{"silence"}, "subcommand is required"}})
    {
        const Answer answer = healthctl(words);
        EXPECT_EQ(answer.status, 2) << answer.errors;
        EXPECT_THAT(answer.errors, HasSubstr(error));
    }
    EXPECT_EQ(healthctl({"silence", "list"}).status, 1);
}

TEST_F(Silencing, HasAnExitStatusForWhatIsNotThere)
{
    EXPECT_EQ(healthctl(addition({"--component", "rack/fam"})).status, 6);
    const Answer answer = healthctl({"silence", "end", "4"});
    EXPECT_EQ(answer.status, 6);
    EXPECT_EQ(answer.errors, "healthctl: there is no silence 4; \"healthctl "
                             "silence list\" shows all\n");
}

TEST_F(Silencing, SaysThatNoHealthManagerRuns)
{
    healthmgr.kill();
    client.waitUntil("end of the manager", [this] {
        return client.findOwner("com.vexa.olvar.healthmgr").empty();
    });
    for (const Words& words : {addition({"--sensor-number", "7"}),
                               Words{"silence", "list"},
                               {"silence", "end", "1"}})
    {
        const Answer answer = healthctl(words);
        EXPECT_EQ(answer.status, 3);
        EXPECT_EQ(answer.errors,
                  "healthctl: healthmgr is not running; start it\n");
    }
    healthctl({"hide", "--component", "rack/fan"});
    client.waitForHealth(fan, 2);
    const Answer faults = healthctl({"faults", "--all"});
    EXPECT_THAT(faults.output, HasSubstr("  hidden\n"));
    EXPECT_EQ(faults.errors, "");
}

TEST_F(Silencing, SaysThatTheSilencesAreMissing)
{
    healthctl(addition({"--component", "rack/fan"}));
    client.waitForHealth(root, 2);
    healthmgr.signal(SIGSTOP);
    const Answer faults = healthctl({"faults", "--all"});
    EXPECT_EQ(faults.status, 0);
    EXPECT_THAT(faults.output, HasSubstr("  hidden\n"));
    EXPECT_EQ(faults.errors,
              "healthctl: silences and acknowledgements are missing: the "
              "health manager did not "
              "answer within 5 seconds; see the log of healthmgr\n");
    healthmgr.signal(SIGCONT);
}

TEST(SilencingForOthers, IsRefusedInOneLineAndListed)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can become another user";
    }
    const PrivateBus bus{systemRules +
                         installedRules("com.vexa.olvar.healthmgr")};
    letOthersIn(bus);
    BusClient client;
    const Process healthmgr{{HEALTHMGR}};
    const Component daemon("/com/vexa/olvar/health/fan", 2);
    client.waitForHealth("/com/vexa/olvar/health", 2);
    const auto asOther = [](Words words) {
        words.insert(words.begin(), HEALTHCTL);
        return runProgram(as(Caller::stranger, words));
    };
    for (const Words& words : {Words{"silence", "add", "--sensor-number", "7",
                                     "--for", "2h", "--comment", "why"},
                               {"silence", "end", "1"}})
    {
        const Answer answer = asOther(words);
        EXPECT_EQ(answer.status, 4);
        EXPECT_THAT(answer.errors,
                    EndsWith("try again as root or as a member of the group "
                             "healthintf-operators\n"));
    }
    EXPECT_EQ(asOther({"silence", "list"}).output, "No silences.\n");
}

} // namespace
} // namespace healthintf::test
