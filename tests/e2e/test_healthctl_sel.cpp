// SPDX-License-Identifier: Apache-2.0
/** @file healthctl's commands for the log, with a running logmgr. */

#include "healthctl.hpp"
#include "ipmi_stand_in.hpp"
#include "log_client.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
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
using testing::StartsWith;

const std::string fanRecord = "00000200000000200004040701570000";
const std::string hotRecord = "00000200000000200004010601595a55";
const std::string makersRecord = "0000e501020304200004010601595a55";

std::vector<unsigned int> listIds(const json& document)
{
    std::vector<unsigned int> ids;
    for (const json& entry : document["entries"])
    {
        ids.push_back(entry["id"]);
    }
    return ids;
}

class HealthctlSel : public testing::Test
{
  protected:
    HealthctlSel()
    {
        setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
    }

    static json add(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"sel", "add"});
        return toJson(arguments);
    }

    /** Adds the events of a fan and of a hot sensor, and an OEM record. */
    static void addThree()
    {
        add({fanRecord, "--name", "Fan 7", "--path", "/sensors/fan7", "--time",
             "@1000"});
        add({hotRecord, "--time", "@2000"});
        add({makersRecord});
    }

    PrivateBus bus;
    LogClient client;
    Process logmgr = client.start();
};

TEST_F(HealthctlSel, AddPrintsTheIdentifier)
{
    EXPECT_EQ(add({fanRecord})["id"], 1);
    const Answer second = healthctl({"sel", "add", "--name", "Fan 7", "--path",
                                     "/sensors/fan7", "0000", "02", "00000000",
                                     "2000", "04", "04", "07", "01", "570000"});
    EXPECT_EQ(second.output, "2\n");
    EXPECT_EQ(second.status, 0);
    EXPECT_EQ(client.entry(2).name, "Fan 7");
    EXPECT_EQ(client.entry(2).path, "/sensors/fan7");
    EXPECT_EQ(client.entry(2).record[11], 7);
}

TEST_F(HealthctlSel, AddTakesOnlyARecord)
{
    const Answer answer = healthctl({"sel", "add", "0102"});
    EXPECT_EQ(answer.status, 2);
    EXPECT_EQ(answer.errors,
              "healthctl: a record has 16 bytes, and 2 are given; write its 16 "
              "bytes in hexadecimal digits\n");
    EXPECT_EQ(client.property("Entries"), "0");
}

TEST_F(HealthctlSel, AddRefusesATimeOutsideARecordsRange)
{
    for (const char* time : {"@4294967296", "1960-01-01"})
    {
        const Answer answer =
            healthctl({"sel", "add", fanRecord, "--time", time});
        EXPECT_EQ(answer.status, 2);
        EXPECT_THAT(answer.errors, HasSubstr("give one between 1970 and 2106"));
    }
    EXPECT_EQ(client.property("Entries"), "0");
}

TEST_F(HealthctlSel, ListShowsTheMeaningOfEachEvent)
{
    addThree();
    const Answer answer = healthctl({"sel", "list"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.output,
                AllOf(HasSubstr("Fan 7"), HasSubstr("asserted"),
                      HasSubstr("warning"), HasSubstr("Fan sensor 0x07"),
                      HasSubstr("critical"), HasSubstr("raw reading 0x5A")));
    const json entries = toJson({"sel", "list"})["entries"];
    ASSERT_THAT(entries, SizeIs(3));
    EXPECT_EQ(entries[0]["timestamp"], 1000);
    EXPECT_TRUE(entries[0]["time"].is_null());
    EXPECT_THAT(answer.output, HasSubstr("clock not set, 1000 s"));
    EXPECT_EQ(entries[0]["sensor"]["name"], "Fan 7");
    EXPECT_EQ(entries[1]["description"]["severity"], "critical");
    EXPECT_TRUE(entries[2]["event"].is_null());
}

TEST_F(HealthctlSel, ListFilters)
{
    addThree();
    const auto listed = [](std::vector<std::string> filters) {
        filters.insert(filters.begin(), {"sel", "list"});
        return listIds(toJson(filters));
    };
    EXPECT_THAT(listed({"--since", "@1500"}), ElementsAre(2));
    EXPECT_THAT(listed({"--since", "@1", "--until", "@1000"}), ElementsAre(1));
    EXPECT_THAT(listed({"--sensor-type", "fan"}), ElementsAre(1));
    EXPECT_THAT(listed({"--sensor-type", "0x01", "--sensor-type", "4"}),
                ElementsAre(1, 2));
    EXPECT_THAT(listed({"--severity", "critical"}), ElementsAre(2));
    EXPECT_THAT(listed({"--severity", "critical", "--severity", "warning"}),
                ElementsAre(1, 2));
    EXPECT_THAT(listed({"--last", "2"}), ElementsAre(2, 3));
}

TEST_F(HealthctlSel, ListExitsWithOneWhenThereIsNothing)
{
    EXPECT_EQ(healthctl({"sel", "list"}).status, 1);
    EXPECT_THAT(toJson({"sel", "list"}, 1)["entries"], SizeIs(0));
    const Answer wrong = healthctl({"sel", "list", "--since", "soon"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.errors, HasSubstr("\"soon\" is no time; write it as"));
    EXPECT_EQ(healthctl({"sel", "list", "--last", "0"}).errors,
              "healthctl: --last: \"0\" is no number from 1 to 2147483647; see "
              "\"healthctl sel list --help\"\n");
    EXPECT_EQ(healthctl({"sel", "list", "--sensor-type", "256"}).errors,
              "healthctl: \"256\" is no sensor type; write it as 4, 0x04 or "
              "fan\n");
}

TEST_F(HealthctlSel, ListReportsThatEventsCannotBeDescribed)
{
    addThree();
    const std::vector<std::string> none{"HEALTHINTF_EVENT_PATH=/nowhere"};
    const Answer listed = healthctl({"sel", "list"}, none);
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.errors,
              "healthctl: there is no event table that can be used, so events "
              "are not described; see \"healthctl doctor\"\n");
    for (const char* filter : {"--severity=critical", "--sensor-type=fan"})
    {
        const Answer filtered = healthctl({"sel", "list", filter}, none);
        EXPECT_EQ(filtered.status, 5);
        EXPECT_EQ(filtered.output, "");
        EXPECT_THAT(filtered.errors, HasSubstr("no event table"));
    }
    EXPECT_EQ(healthctl({"sel", "list", "--sensor-type=4"}, none).status, 0);
}

TEST_F(HealthctlSel, ListRefusesUnknownSensorTypes)
{
    const Answer wrong = healthctl({"sel", "list", "--sensor-type", "fans"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.errors, "healthctl: no events are of the sensor type "
                            "\"fans\"; write it as 4, 0x04 or fan\n");
    EXPECT_EQ(healthctl({"sel", "list", "--sensor-type", "fan"}).status, 1);
}

TEST_F(HealthctlSel, ListAsksTheLogManagerWhereThisUserHasNoCache)
{
    addThree();
    setenv("HEALTHINTF_RUNTIME_DIR", "/nowhere", 1);
    EXPECT_THAT(listIds(toJson({"sel", "list"})), ElementsAre(1, 2, 3));
}

TEST_F(HealthctlSel, ShowPrintsEveryField)
{
    addThree();
    const Answer answer = healthctl({"sel", "show", "2"});
    EXPECT_EQ(answer.status, 0);
    for (const char* line :
         {"Record type     0x02\n", "Sensor type     0x01\n",
          "Sensor number   0x06\n", "Offset          9\n",
          "Event data      0x59 0x5A 0x55\n", "Severity        critical\n",
          "Raw             02 00 02 d0 07 00 00 20 00 04 01 06 01 59 5a 55\n"})
    {
        EXPECT_THAT(answer.output, HasSubstr(line));
    }
    const json entry = toJson({"sel", "show", "2"})["entries"][0];
    EXPECT_EQ(entry["event"]["offset"], 9);
    EXPECT_EQ(entry["raw"], "02 00 02 d0 07 00 00 20 00 04 01 06 01 59 5a 55");
}

TEST_F(HealthctlSel, ShowKeepsLongValuesBesideTheirNames)
{
    addThree();
    const Answer answer = runProgram(
        {WATCH_ON_TERMINAL, HEALTHCTL, "sel", "show", "1"}, {"NO_COLOR=1"});
    EXPECT_THAT(
        answer.output,
        HasSubstr("Event           Fan sensor 0x07 went above its upper "
                  "non-critical threshold, raw\n                reading"));
}

TEST_F(HealthctlSel, ShowSaysThatThereIsNoSuchEntry)
{
    const Answer answer = healthctl({"sel", "show", "9"});
    EXPECT_EQ(answer.status, 6);
    EXPECT_THAT(answer.errors, HasSubstr("the log has no entry 9; "));
}

TEST_F(HealthctlSel, ClearNeedsYesWithoutATerminal)
{
    addThree();
    const Answer refused = healthctl({"sel", "clear"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.errors, HasSubstr("--yes"));
    EXPECT_EQ(client.property("Entries"), "3");
    EXPECT_EQ(toJson({"sel", "clear", "--yes"})["erased"], 3);
    EXPECT_EQ(client.property("Entries"), "0");
}

TEST_F(HealthctlSel, ClearAsksOnATerminal)
{
    addThree();
    const std::string question =
        "Remove all 3 entries of the log, up to entry 3? [y/N] ";
    Process asked({WATCH_ON_TERMINAL, HEALTHCTL, "sel", "clear"});
    asked.tell("enter n");
    EXPECT_THAT(asked.output(),
                AllOf(HasSubstr(question), HasSubstr("Nothing was removed."),
                      HasSubstr("ended 1, ")));
    EXPECT_EQ(client.property("Entries"), "3");
    Process agreed({WATCH_ON_TERMINAL, HEALTHCTL, "sel", "clear"});
    agreed.tell("enter y");
    EXPECT_THAT(agreed.output(),
                AllOf(HasSubstr("3 entries removed, up to entry 3"),
                      HasSubstr("ended 0, ")));
    EXPECT_EQ(client.property("Entries"), "0");
}

TEST_F(HealthctlSel, FitsEveryLineIntoANarrowTerminal)
{
    const std::string file = bus.folder().path() / "log.raw";
    for (const std::string columns : {"1", "5", "15"})
    {
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"list"},
              {"export", file},
              {"import", file},
              {"clear", "--yes"}})
        {
            std::vector<std::string> words{ON_TERMINAL, columns, HEALTHCTL,
                                           "sel"};
            words.insert(words.end(), command.begin(), command.end());
            const Answer shown = runProgram(words, {"TERM=xterm", "LC_ALL="});
            EXPECT_LE(shown.status, 1) << shown.output;
            std::istringstream lines(shown.output);
            for (std::string line; std::getline(lines, line);)
            {
                EXPECT_LE(line.size(), std::stoul(columns)) << command[0];
            }
        }
    }
}

TEST_F(HealthctlSel, ClearTreatsTheEndOfInputAsNo)
{
    addThree();
    Process asked({WATCH_ON_TERMINAL, HEALTHCTL, "sel", "clear"});
    asked.tell("keys \x04");
    EXPECT_THAT(asked.output(), AllOf(HasSubstr("\nNothing was removed.\n"),
                                      HasSubstr("ended 1, ")));
    EXPECT_EQ(client.property("Entries"), "3");
}

TEST_F(HealthctlSel, ClearRefusesWhenTheLogHasGrownSinceTheExport)
{
    addThree();
    const std::string file = bus.folder().path() / "log.raw";
    EXPECT_EQ(healthctl({"sel", "export", file}).output,
              "3 exported, up to entry 3\n");
    add({fanRecord});
    const Answer refused = healthctl({"sel", "clear", "--yes", "--up-to", "3"});
    EXPECT_EQ(refused.status, 5);
    EXPECT_EQ(refused.errors,
              "healthctl: nothing was removed: the last entry of the log is 4 "
              "and not 3; export it anew\n");
    EXPECT_EQ(client.property("Entries"), "4");
    EXPECT_EQ(toJson({"sel", "export", file})["upTo"], 4);
    const json cleared = toJson({"sel", "clear", "--yes", "--up-to", "4"});
    EXPECT_EQ(cleared["erased"], 4);
    EXPECT_EQ(cleared["upTo"], 4);
    EXPECT_EQ(toJson({"sel", "export", file})["upTo"], 0);
    EXPECT_EQ(healthctl({"sel", "clear", "--yes", "--up-to", "0"}).output,
              "0 entries removed\n");
    EXPECT_EQ(healthctl({"sel", "clear", "--yes", "--up-to", "65535"}).status,
              2);
}

TEST_F(HealthctlSel, ClearReadsItsLastEntryInDecimalDigits)
{
    for (int i = 0; i < 8; ++i)
    {
        add({fanRecord});
    }
    const auto clearUpTo = [](const std::string& entry) {
        return healthctl({"sel", "clear", "--yes", "--up-to", entry});
    };
    EXPECT_THAT(clearUpTo("010").errors, HasSubstr("is 8 and not 10"));
    EXPECT_EQ(clearUpTo("0x8").status, 2);
    EXPECT_EQ(client.property("Entries"), "8");
    EXPECT_EQ(clearUpTo("08").output, "8 entries removed, up to entry 8\n");
}

TEST_F(HealthctlSel, ExportAndListReadTheLogEvenWhenTheMirrorIsBehind)
{
    namespace fs = std::filesystem;
    add({fanRecord});
    const fs::path mirror = bus.folder().path() / "run" / "sel" / "log";
    const fs::path old = bus.folder().path() / "old";
    fs::copy_file(mirror, old);
    add({hotRecord});
    fs::copy_file(old, mirror, fs::copy_options::overwrite_existing);
    const std::string file = bus.folder().path() / "log.raw";
    EXPECT_EQ(toJson({"sel", "export", file})["exported"], 2);
    const json list = toJson({"sel", "list"});
    EXPECT_THAT(listIds(list), ElementsAre(1, 2));
    EXPECT_EQ(list["source"], "log");
    EXPECT_THAT(listIds(toJson({"sel", "show", "2"})), ElementsAre(2));
}

TEST_F(HealthctlSel, ListsTheMirrorWithANoteWithoutALogManager)
{
    addThree();
    logmgr.kill();
    client.waitUntilGone();
    const Answer answer = healthctl({"sel", "list"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.errors,
              "healthctl: logmgr is not running; start it; what follows "
              "is the mirror of the log in the data cache, which may lack "
              "changes\n");
    EXPECT_EQ(toJson({"sel", "export", bus.folder().path() / "log"})["source"],
              "mirror");
}

TEST_F(HealthctlSel, ListsTheMirrorWhenTheLogManagerDoesNotStart)
{
    addThree();
    logmgr.kill();
    client.waitUntilGone();
    // The bus waits for a service whose program has ended well.
    bus.activate(logService, "/bin/true");
    const Answer listed = healthctl({"sel", "list"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_THAT(listed.errors,
                StartsWith("healthctl: logmgr does not start; see its log; "
                           "what follows is the mirror"));
    const Answer cleared = healthctl({"sel", "clear", "--yes"});
    EXPECT_EQ(cleared.status, 5);
    EXPECT_EQ(cleared.errors, "healthctl: logmgr does not start, and may still "
                              "do it once it does; see its log\n");
}

TEST_F(HealthctlSel, InfoSummarisesTheLog)
{
    json info = toJson({"sel", "info"});
    EXPECT_EQ(info["entries"], 0);
    EXPECT_EQ(info["capacity"], 4096);
    EXPECT_EQ(info["policy"], "refuse");
    EXPECT_EQ(info["overflow"], false);
    EXPECT_TRUE(info["lastAddition"].is_null());
    addThree();
    healthctl({"sel", "clear", "--yes"});
    info = toJson({"sel", "info"});
    EXPECT_TRUE(info["lastAddition"].is_number());
    EXPECT_TRUE(info["lastErase"].is_number());
    EXPECT_THAT(healthctl({"sel", "info"}).output, HasSubstr("0 of 4096"));
}

TEST_F(HealthctlSel, ImportStoresAnExport)
{
    addThree();
    const std::string file = bus.folder().path() / "log.raw";
    EXPECT_EQ(toJson({"sel", "export", file})["exported"], 3);
    const std::string exported = healthctl({"sel", "export", "-"}).output;
    EXPECT_EQ(exported.size(), 48);
    const auto raw = [] {
        std::vector<std::string> all;
        const json list = toJson({"sel", "list"});
        for (const json& entry : list["entries"])
        {
            all.push_back(entry["raw"]);
        }
        return all;
    };
    const auto before = raw();
    healthctl({"sel", "clear", "--yes"});
    const json imported = toJson({"sel", "import", file});
    EXPECT_EQ(imported["imported"], 3);
    EXPECT_EQ(imported["ids"], (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(raw(), before);
}

TEST_F(HealthctlSel, WaitsFiveSecondsForALogManagerThatIsStopped)
{
    logmgr.signal(SIGSTOP);
    const auto begin = std::chrono::steady_clock::now();
    const Answer listed = healthctl({"sel", "list"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(20));
    EXPECT_EQ(listed.status, 5);
    EXPECT_THAT(listed.errors,
                HasSubstr("the log manager did not answer within 5 seconds; "
                          "see the log of logmgr"));
    const Answer cleared = healthctl({"sel", "clear", "--yes"});
    EXPECT_EQ(cleared.status, 5);
    EXPECT_THAT(cleared.errors, HasSubstr("did not answer within 5 seconds, "
                                          "and may still do it"));
    logmgr.signal(SIGCONT);
}

TEST_F(HealthctlSel, ImportOfATruncatedFileStoresNothing)
{
    addThree();
    const std::string content = healthctl({"sel", "export", "-"}).output;
    const std::string file =
        bus.folder().write("cut.raw", content.substr(0, 40));
    const Answer answer = healthctl({"sel", "import", file});
    EXPECT_EQ(answer.status, 5);
    EXPECT_THAT(answer.errors, AllOf(HasSubstr("offset 32 is cut"),
                                     HasSubstr("nothing was imported")));
    EXPECT_EQ(client.property("Entries"), "3");
}

TEST_F(HealthctlSel, ImportReportsThatItsInputCannotBeRead)
{
    const Answer answer =
        runProgram({"sh", "-c", std::string(HEALTHCTL) + " sel import - < /"});
    EXPECT_EQ(answer.status, 5);
    EXPECT_EQ(answer.output, "");
    EXPECT_EQ(answer.errors, "healthctl: unable to read the standard input: Is "
                             "a directory; name another file\n");
}

TEST_F(HealthctlSel, ExportIsReadableByIpmitool)
{
    addThree();
    const std::string file = bus.folder().path() / "log.raw";
    healthctl({"sel", "export", file});
    const IpmiStandIn controller;
    std::istringstream output(
        readOutput({IPMITOOL, "-I", "dummy", "sel", "readraw", file},
                   {controller.environment()}));
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);)
    {
        lines.push_back(line);
    }
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_THAT(lines[0], AllOf(HasSubstr("   1 |"), HasSubstr("Fan #0x07"),
                                HasSubstr("Asserted")));
    EXPECT_THAT(lines[1], AllOf(HasSubstr("Temperature #0x06"),
                                HasSubstr("Upper Critical going high")));
}

TEST(HealthctlSelAlone, SaysThatThereIsNoLogManager)
{
    const PrivateBus bus;
    for (const char* command : {"list", "info"})
    {
        const Answer answer = healthctl({"sel", command});
        EXPECT_EQ(answer.status, 3);
        EXPECT_EQ(answer.errors,
                  "healthctl: logmgr is not running; start it\n");
    }
}

TEST(HealthctlSelAlone, SaysThatSystemdCannotStartTheLogManager)
{
    const PrivateBus bus;
    Process log({ODD_LOG, "masked"});
    ASSERT_EQ(log.hear(), "ready");
    const std::vector<std::vector<std::string>> commands{
        {"sel", "list"}, {"sel", "clear", "--yes"}};
    for (const auto& command : commands)
    {
        const Answer answer = healthctl(command);
        EXPECT_EQ(answer.status, 3);
        EXPECT_EQ(answer.errors,
                  "healthctl: logmgr is not running; start it\n");
    }
}

TEST(HealthctlSelAlone, ReportsAMalformedReplyOfTheLogManager)
{
    const PrivateBus bus;
    Process log({ODD_LOG});
    ASSERT_EQ(log.hear(), "ready");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"sel", "list"}, "more entries and sends none; restart it\n"},
        {{"sel", "info"}, "of one version\n"},
        {{"sel", "clear", "--yes"}, "of one version\n"}};
    for (const auto& [command, end] : cases)
    {
        const Answer answer = healthctl(command);
        EXPECT_EQ(answer.status, 5);
        EXPECT_THAT(answer.errors, testing::EndsWith(end));
    }
}

TEST(HealthctlSelAlone, ReportsALogManagerThatEndsInsteadOfAnswering)
{
    const PrivateBus bus;
    const auto answerFrom = [](const std::vector<std::string>& command) {
        Process log({ODD_LOG, "dies"});
        EXPECT_EQ(log.hear(), "ready");
        return healthctl(command);
    };
    const Answer listed = answerFrom({"sel", "list"});
    EXPECT_EQ(listed.status, 3);
    EXPECT_EQ(listed.errors,
              "healthctl: logmgr ended before it answered; see its log\n");
    const Answer cleared = answerFrom({"sel", "clear", "--yes"});
    EXPECT_EQ(cleared.status, 5);
    EXPECT_EQ(cleared.errors, "healthctl: logmgr ended before it answered, and "
                              "may have done it; see its log\n");
}

TEST(HealthctlSelAlone, ReportsABusThatEndsBeforeTheLogManagerAnswers)
{
    const auto endBusDuring = [](const std::vector<std::string>& command) {
        PrivateBus bus;
        Process log({ODD_LOG, "silent"});
        EXPECT_EQ(log.hear(), "ready");
        Process asking(command);
        EXPECT_EQ(log.hear(), "asked");
        bus.kill();
        const int status = asking.wait();
        return Answer{status, asking.output(), asking.errors()};
    };
    const Answer listed = endBusDuring({HEALTHCTL, "sel", "list"});
    EXPECT_EQ(listed.status, 3);
    EXPECT_EQ(listed.errors, "healthctl: the bus ended before logmgr answered; "
                             "see the log of the bus\n");
    const Answer cleared = endBusDuring({HEALTHCTL, "sel", "clear", "--yes"});
    EXPECT_EQ(cleared.status, 5);
    EXPECT_EQ(cleared.errors,
              "healthctl: the bus ended before logmgr answered, which may have "
              "done it; see the log of the bus\n");
}

TEST(HealthctlSelAlone, ListsAgainWhenTheLogIsClearedMeanwhile)
{
    const PrivateBus bus;
    {
        Process log({ODD_LOG, "once"});
        ASSERT_EQ(log.hear(), "ready");
        EXPECT_THAT(listIds(toJson({"sel", "list"})), ElementsAre(1, 2, 3, 4));
    }
    Process log({ODD_LOG, "always"});
    ASSERT_EQ(log.hear(), "ready");
    const Answer answer = healthctl({"sel", "list"});
    EXPECT_EQ(answer.status, 5);
    EXPECT_EQ(answer.errors, "healthctl: the log was cleared; try again\n");
}

TEST(HealthctlSelAlone, ReportsTheNumberOfUnreadableEntries)
{
    const PrivateBus bus;
    const std::string leftOut =
        "healthctl: the log has entries that cannot be read and are left out: "
        "2; see the log of logmgr\n";
    {
        Process log({ODD_LOG, "late"});
        ASSERT_EQ(log.hear(), "ready");
        EXPECT_EQ(healthctl({"sel", "list"}).errors, leftOut);
    }
    Process log({ODD_LOG, "gaps"});
    ASSERT_EQ(log.hear(), "ready");
    const Answer answer =
        healthctl({"sel", "export", bus.folder().path() / "log.raw", "--json"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.errors, leftOut);
    const json exported = json::parse(answer.output);
    EXPECT_EQ(exported["exported"], 2);
    EXPECT_EQ(exported["upTo"], 4) << "which \"sel clear --up-to\" takes";
}

TEST(HealthctlSelAlone, ImportIntoALogWithoutRoomStoresNothing)
{
    const PrivateBus bus;
    LogClient client;
    const std::string config =
        bus.folder().write("logmgr.toml", "capacity = 2\n");
    const Process logmgr = client.start({"--config", config});
    healthctl({"sel", "add", fanRecord});
    const std::string record = healthctl({"sel", "export", "-"}).output;
    const std::string file = bus.folder().write("two.raw", record + record);
    const Answer answer = healthctl({"sel", "import", file});
    EXPECT_EQ(answer.status, 5);
    EXPECT_THAT(answer.errors, HasSubstr("room for 1 of 2 records"));
    EXPECT_EQ(client.property("Entries"), "1");
}

TEST(HealthctlSelAlone, ImportDropsNoRecordsOfItsOwnFile)
{
    const PrivateBus bus;
    LogClient client;
    const std::string config = bus.folder().write(
        "logmgr.toml", "capacity = 2\noverflow = \"wrap\"\n");
    const Process logmgr = client.start({"--config", config});
    healthctl({"sel", "add", fanRecord});
    const std::string record = healthctl({"sel", "export", "-"}).output;
    const std::string three =
        bus.folder().write("three.raw", record + record + record);
    const Answer refused = healthctl({"sel", "import", three});
    EXPECT_EQ(refused.status, 5);
    EXPECT_EQ(refused.errors,
              "healthctl: nothing was imported: the log has room for 2 of 3 "
              "records; configure logmgr with a larger capacity\n");
    EXPECT_EQ(client.property("Entries"), "1");
    const std::string two = bus.folder().write("two.raw", record + record);
    EXPECT_EQ(healthctl({"sel", "import", two}).status, 0);
    EXPECT_EQ(client.property("Entries"), "2");
}

} // namespace
} // namespace healthintf::test
