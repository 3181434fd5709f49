// SPDX-License-Identifier: Apache-2.0
/** @file healthctl history, with a running logmgr and a daemon with faults. */

#include "healthctl.hpp"
#include "history_follower.hpp"
#include "log_client.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr const char* historyPath = "/com/vexa/olvar/logmgr/history";

/** The most records that logmgr sends at once. */
constexpr std::size_t recordsOfPage = 1000;

std::vector<std::string> listKinds(const json& document)
{
    std::vector<std::string> kinds;
    for (const json& record : document["records"])
    {
        kinds.push_back(record["kind"]);
    }
    return kinds;
}

class HealthctlHistory : public HealthctlTest
{
  protected:
    void addFan()
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    }

    void removeFan()
    {
        daemon.remove(fan, "Test.1.0.Slow", "/sensors/fan");
    }

    void addPsu()
    {
        daemon.add(psu, "Test.1.0.Bad", "/sensors/psu", 1, 8);
    }

    /** The history of a fan that failed once, and of a supply that failed
     *  after that and has not recovered. */
    void fail()
    {
        Follower follower;
        addFan();
        removeFan();
        addPsu();
        follower.next("appeared", psu);
    }

    LogClient log;
    Process logmgr = startWithHistory(log);
};

TEST_F(HealthctlHistory, ListsWhatHappened)
{
    fail();
    const json document = toJson({"history"});
    ASSERT_THAT(listKinds(document),
                ElementsAre("appeared", "cleared", "appeared"));
    const json& cleared = document["records"][1];
    EXPECT_EQ(cleared["component"], fan);
    EXPECT_EQ(cleared["messageId"], "Test.1.0.Slow");
    EXPECT_EQ(cleared["severity"], "warning");
    EXPECT_EQ(cleared["sensorPath"], "/sensors/fan");
    EXPECT_EQ(cleared["processId"], daemon.process.pid());
    EXPECT_GE(cleared["lastedMs"], 0);
    EXPECT_EQ(cleared["missed"], false);
    EXPECT_EQ(document["records"][2]["occurrence"], 1);
    EXPECT_THAT(healthctl({"history"}).output,
                AllOf(HasSubstr("appeared  warning   rack/fan  Test.1.0.Slow  "
                                "A fault of /sensors/fan"),
                      HasSubstr("cleared   warning   rack/fan"),
                      HasSubstr("(lasted "),
                      HasSubstr("appeared  critical  rack/psu")));
}

TEST_F(HealthctlHistory, Filters)
{
    fail();
    const auto listed = [](std::vector<std::string> filters) {
        filters.insert(filters.begin(), "history");
        std::vector<std::string> all;
        const json document = toJson(filters);
        for (const json& record : document["records"])
        {
            const std::string component = record["component"];
            all.push_back(component.substr(component.rfind('/') + 1) + " " +
                          record["kind"].get<std::string>());
        }
        return all;
    };
    EXPECT_THAT(listed({"rack/psu"}), ElementsAre("psu appeared"));
    EXPECT_THAT(listed({"--component", "rack", "--kind", "appeared"}),
                ElementsAre("fan appeared", "psu appeared"));
    EXPECT_THAT(listed({"--severity", "warning"}),
                ElementsAre("fan appeared", "fan cleared"));
    EXPECT_THAT(listed({"--message", "Bad"}), ElementsAre("psu appeared"));
    EXPECT_THAT(listed({"--kind", "cleared", "--kind", "hidden"}),
                ElementsAre("fan cleared"));
    EXPECT_THAT(listed({"--limit", "2"}),
                ElementsAre("fan cleared", "psu appeared"));
    EXPECT_THAT(listed({"--reverse", "--limit", "2"}),
                ElementsAre("psu appeared", "fan cleared"));
    EXPECT_THAT(listed({"--since", "1h", "--until", "now"}), SizeIs(3));
    EXPECT_THAT(toJson({"history", "--until", "1h"}, 1)["records"], SizeIs(0));
    EXPECT_THAT(toJson({"history", "--since", "@99999999999"}, 1)["records"],
                SizeIs(0));
}

TEST_F(HealthctlHistory, KnowsTheKindsThatLogmgrKnows)
{
    fail();
    std::vector<std::string> command{"history"};
    for (const char* kind :
         {"appeared", "cleared", "gave-way", "withdrawn", "hidden", "shown",
          "monitor-lost", "monitor-back", "acknowledged", "silenced",
          "silence-ended", "attribute-changed", "log-cleared",
          "history-cleared"})
    {
        command.insert(command.end(), {"--kind", kind});
    }
    EXPECT_THAT(toJson(command)["records"], SizeIs(3));
    EXPECT_EQ(healthctl({"history", "--kind", "gone"}).status, 2);
}

TEST_F(HealthctlHistory, IsReadInPages)
{
    Follower follower({"rack/psu"});
    constexpr std::size_t times = 550;
    static_assert(2 * times > recordsOfPage);
    for (std::size_t i = 0; i < times; ++i)
    {
        addFan();
        removeFan();
    }
    addPsu();
    follower.next("appeared", psu);
    const json records = toJson({"history"})["records"];
    ASSERT_THAT(records, SizeIs(2 * times + 1));
    for (std::size_t i = 1; i < records.size(); ++i)
    {
        EXPECT_LT(records[i - 1]["sequence"], records[i]["sequence"]);
    }
    std::vector<json> reversed = toJson({"history", "--reverse"})["records"];
    std::ranges::reverse(reversed);
    EXPECT_EQ(json(reversed), records);
    const json last =
        toJson({"history", "--limit", std::to_string(2 * times)})["records"];
    ASSERT_THAT(last, SizeIs(2 * times));
    EXPECT_EQ(last[0], records[1]);
}

TEST_F(HealthctlHistory, SaysWhenThereIsNothing)
{
    const Answer nothing = healthctl({"history"});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(nothing.output, "No such records.\n");
    EXPECT_THAT(toJson({"history"}, 1)["records"], SizeIs(0));
    EXPECT_EQ(healthctl({"history", "--summary"}).output, "No such faults.\n");
}

TEST_F(HealthctlHistory, SaysWhenNobodyKeepsOne)
{
    logmgr.kill();
    log.waitUntilGone();
    const Answer gone = healthctl({"history"});
    EXPECT_EQ(gone.status, 3);
    EXPECT_EQ(gone.errors, "healthctl: logmgr is not running; start it\n");
    const Process without = log.start(
        {"--config",
         bus.folder().write("logmgr.toml", "history = false\n").string()});
    const Answer off = healthctl({"history"});
    EXPECT_EQ(off.status, 3);
    EXPECT_EQ(off.errors, "healthctl: logmgr offers no history; see "
                          "\"history\" in its configuration, and its log\n");
}

TEST_F(HealthctlHistory, FollowBeginsWithTheLastTenRecords)
{
    Follower all;
    for (int i = 0; i < 6; ++i)
    {
        addFan();
        removeFan();
        all.next("cleared", fan);
    }
    Follower follower;
    EXPECT_EQ(follower.next()["sequence"], 3);
    Follower shorter({"--limit", "1"});
    EXPECT_EQ(shorter.next()["sequence"], 12);
    Follower whole({"--since", "1h"});
    EXPECT_EQ(whole.next()["sequence"], 1);
}

TEST_F(HealthctlHistory, FollowGoesOnWhenLogmgrIsBack)
{
    Follower follower;
    addFan();
    const json first = follower.next();
    EXPECT_EQ(first["kind"], "appeared");
    logmgr.kill();
    log.waitUntilGone();
    removeFan();
    addPsu();
    const Process again = log.start();
    uint64_t last = first["sequence"];
    std::vector<std::string> kinds;
    while (kinds.size() < 2)
    {
        const json record = follower.next();
        EXPECT_GT(record["sequence"], last);
        EXPECT_EQ(record["missed"], true);
        last = record["sequence"];
        kinds.push_back(record["kind"]);
    }
    EXPECT_THAT(kinds, testing::UnorderedElementsAre("cleared", "appeared"));
    addFan();
    EXPECT_EQ(follower.next("appeared", fan)["missed"], false);
}

TEST_F(HealthctlHistory, FollowEndsAtASignal)
{
    fail();
    Follower follower;
    follower.next();
    follower.process.signal(SIGINT);
    EXPECT_EQ(follower.process.wait(), 0);
}

TEST_F(HealthctlHistory, FollowEndsWhenNobodyReads)
{
    fail();
    const Answer answer = runProgram(
        {"sh", "-c", std::string(HEALTHCTL " history --follow | head -n 1")});
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.output, HasSubstr("appeared      warning   rack/fan"));
}

TEST_F(HealthctlHistory, FollowEndsWhenItsReaderWasGoneBefore)
{
    fail();
    Process follower({"bash", "-c",
                      "exec 3> >(true); wait $!; exec " HEALTHCTL
                      " history --follow >&3"});
    EXPECT_EQ(follower.wait(), 0) << follower.errors();
}

TEST_F(HealthctlHistory, FollowIgnoresMadeUpSignals)
{
    fail();
    Follower follower;
    follower.next("appeared", psu);
    sd_bus_emit_signal(log.get(), historyPath, historyService, "Recorded",
                       "a{sv}", 1, "Kind", "s", "made-up");
    log.catchUp();
    addFan();
    EXPECT_EQ(follower.next()["component"], fan);
}

TEST_F(HealthctlHistory, SummarizesFaults)
{
    Follower follower;
    for (int i = 0; i < 5; ++i)
    {
        addFan();
        removeFan();
    }
    addPsu();
    follower.next("appeared", psu);
    const json faults = toJson({"history", "--summary"})["faults"];
    ASSERT_THAT(faults, SizeIs(2));
    EXPECT_EQ(faults[0]["component"], fan);
    EXPECT_EQ(faults[0]["occurrences"], 5);
    EXPECT_EQ(faults[0]["lasts"], false);
    EXPECT_EQ(faults[0]["flapping"], true);
    EXPECT_EQ(faults[1]["component"], psu);
    EXPECT_EQ(faults[1]["occurrences"], 1);
    EXPECT_EQ(faults[1]["lasts"], true);
    EXPECT_EQ(faults[1]["flapping"], false);
    EXPECT_THAT(toJson({"history", "--summary", "rack/psu"})["faults"],
                SizeIs(1));
    EXPECT_THAT(toJson({"history", "--summary", "--limit", "1"})["faults"],
                SizeIs(1));
    EXPECT_EQ(toJson({"history", "--summary", "--until", "1h"}, 1)["faults"],
              json::array());
    EXPECT_THAT(healthctl({"history", "--summary"}).output,
                AllOf(HasSubstr("5 times"), HasSubstr("ended, flapping")));
}

TEST_F(HealthctlHistory, DrawsAPicture)
{
    fail();
    const json picture = toJson({"history", "--picture"});
    const json& components = picture["components"];
    ASSERT_THAT(components, SizeIs(3));
    EXPECT_EQ(components[0]["component"], root);
    EXPECT_EQ(components[0]["health"].back(), "critical");
    EXPECT_EQ(components[0]["health"].front(), "not recorded");
    EXPECT_EQ(components[1]["component"], fan);
    EXPECT_EQ(components[1]["health"].back(), "warning");
    EXPECT_EQ(components[2]["component"], psu);
    EXPECT_EQ(components[2]["health"].back(), "critical");
    const Answer drawn = healthctl({"history", "--picture", "rack/psu"});
    EXPECT_THAT(drawn.output, HasSubstr("\nrack/psu "));
    const Answer wrong =
        healthctl({"history", "--picture", "--since", "1h", "--until", "2h"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.errors, HasSubstr("--since is not before --until"));
}

TEST_F(HealthctlHistory, ClearKeepsWhatLasts)
{
    fail();
    const Answer unasked = healthctl({"history", "clear"});
    EXPECT_EQ(unasked.status, 2);
    EXPECT_EQ(unasked.errors, "healthctl: nobody can be asked whether to clear "
                              "the history; say so with --yes\n");
    EXPECT_EQ(toJson({"history", "clear", "--yes"})["left"], 2);
    const json document = toJson({"history"});
    EXPECT_THAT(listKinds(document),
                ElementsAre("appeared", "history-cleared"));
    EXPECT_EQ(document["records"][0]["component"], psu);
}

TEST_F(HealthctlHistory, ClearAsksOnATerminal)
{
    fail();
    Process terminal({WATCH_ON_TERMINAL, HEALTHCTL, "history", "clear"});
    terminal.tell("enter n");
    std::string heard;
    while (heard.find("ended 1") == std::string::npos)
    {
        heard += terminal.hear() + "\n";
    }
    EXPECT_THAT(heard, AllOf(HasSubstr("Remove all 3 records of the history "
                                       "but those of lasting faults? [y/N]"),
                             HasSubstr("Nothing was removed.")));
    EXPECT_THAT(toJson({"history"})["records"], SizeIs(3));
}

TEST_F(HealthctlHistory, FitsTerminals)
{
    fail();
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"--summary"}, {"--picture"}})
    {
        for (const int columns : {1, 2, 11, 12, 20, 40, 80, 200})
        {
            std::vector<std::string> command{ON_TERMINAL,
                                             std::to_string(columns), HEALTHCTL,
                                             "history", "--color=never"};
            command.insert(command.end(), options.begin(), options.end());
            std::istringstream lines(readOutput(command, {"LC_ALL=C"}));
            for (std::string line; std::getline(lines, line);)
            {
                EXPECT_LE(line.size(), static_cast<std::size_t>(columns))
                    << line;
            }
        }
    }
}

TEST_F(HealthctlHistory, RefusesOptionsThatDoNotFit)
{
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--follow", "--reverse"},
          {"--follow", "--summary"},
          {"--follow", "--picture"},
          {"--follow", "--until", "now"},
          {"--summary", "--picture"},
          {"--summary", "--kind", "cleared"},
          {"--picture", "--kind", "cleared"},
          {"--picture", "--limit", "3"},
          {"rack", "--component", "rack"},
          {"--since", "soon"},
          {"not a key"}})
    {
        std::vector<std::string> command{"history"};
        command.insert(command.end(), options.begin(), options.end());
        EXPECT_EQ(healthctl(command).status, 2) << options[0];
    }
}

} // namespace
} // namespace healthintf::test
