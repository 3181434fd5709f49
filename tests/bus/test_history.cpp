// SPDX-License-Identifier: Apache-2.0
/** @file The history of faults with a real logmgr and real daemons. */

#include "component.hpp"
#include "history_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

class HistoryTest : public testing::Test
{
  protected:
    void start()
    {
        logmgr = std::make_unique<Process>(std::vector<std::string>{LOGMGR});
        client.waitUntilReady();
    }

    void kill()
    {
        logmgr->kill();
        client.waitUntil("end of the history", [this] {
            return client.findOwner(host::historyService).empty();
        });
    }

    /** Waits until so many records were announced. */
    void waitFor(std::size_t count)
    {
        client.waitUntil(std::to_string(count) + " records", [&] {
            return client.heard.size() >= count;
        });
    }

    std::vector<std::string> heardKinds() const
    {
        return HistoryClient::kinds(client.heard);
    }

    /** Emits a signal of a fault entry from this process, which has none. */
    void emit(const char* member, const char* types, auto... values)
    {
        sd_bus_emit_signal(client.get(), (key + "/entry/Fault_1_4").c_str(),
                           faultEntry, member, types, values...);
    }

    /** Emits signals of that entry from so many further connections, each of
     *  which has ended when this returns. */
    static void emitFromShortLived(int senders, int signals)
    {
        for (int sender = 0; sender < senders; ++sender)
        {
            const BusClient gone;
            for (int signal = 0; signal < signals; ++signal)
            {
                sd_bus_emit_signal(gone.get(),
                                   "/com/vexa/olvar/health/x/entry/F",
                                   faultEntry, "FaultEntryRemoved", "");
            }
            sd_bus_flush(gone.get());
        }
    }

    /** How often the bus is asked for a sender while logmgr finds
     *  all these signals at once. */
    std::ptrdiff_t countQuestions(int senders, int signals)
    {
        BusClient watcher;
        std::vector<std::string> seen;
        const auto note = [](sd_bus_message* message, void* members,
                             sd_bus_error*) {
            const char* member = sd_bus_message_get_member(message);
            static_cast<std::vector<std::string>*>(members)->emplace_back(
                member == nullptr ? "" : member);
            // Keeps sd-bus from replying to messages meant for others.
            return 1;
        };
        sd_bus_slot* filter = nullptr;
        sd_bus_add_filter(watcher.get(), &filter, note, &seen);
        const std::unique_ptr<sd_bus_slot, Unref> owner(filter);
        watcher.call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                     "org.freedesktop.DBus.Monitoring", "BecomeMonitor", "asu",
                     1, "destination='org.freedesktop.DBus'", 0U);
        logmgr->signal(SIGSTOP);
        emitFromShortLived(senders, signals);
        logmgr->signal(SIGCONT);
        // This signal comes behind the others, and needs no sender.
        clearLog();
        waitFor(1);
        const char* const marker = "GetId";
        client.catchUp();
        watcher.waitUntil("the marker", [&] {
            return std::ranges::count(seen, marker) > 0;
        });
        return std::ranges::count(seen, "GetConnectionCredentials");
    }

    void clearLog() const
    {
        client.call("com.vexa.olvar.logmgr", "/com/vexa/olvar/logmgr/SEL",
                    "com.vexa.olvar.logmgr.SEL", "Clear", "");
    }

    void startManager()
    {
        healthmgr = std::make_unique<Process>(std::vector<std::string>{
            HEALTHMGR, "--config", IGNORE_LOST_MONITORS});
        client.waitUntil("healthmgr", [this] {
            return !client.findOwner(manager).empty();
        });
    }

    void silence(const char* sensor, uint32_t seconds = 600)
    {
        client.call(manager, managerPath, "com.vexa.olvar.healthmgr.Silences",
                    "Add", "a{sv}", 3, "SensorPath", "s", sensor, "Seconds",
                    "u", seconds, "Comment", "s", "for the test");
    }

    static void removeFiles()
    {
        for (const auto& each : fs::directory_iterator(historyFolder()))
        {
            fs::remove(each);
        }
    }

    /** The folder of the history's files. */
    static fs::path historyFolder()
    {
        return fs::path(getenv("HEALTHINTF_STATE_DIR")) / "history";
    }

    static constexpr const char* faultEntry =
        "com.vexa.olvar.healthmgr.FaultEntry";
    const std::string key = "/com/vexa/olvar/health/fans/fan1";
    PrivateBus bus;
    HistoryClient client;
    std::unique_ptr<Process> logmgr;
    std::unique_ptr<Process> healthmgr;
    const char* const manager = "com.vexa.olvar.healthmgr";
    const char* const managerPath = "/com/vexa/olvar/healthmgr";
};

TEST_F(HistoryTest, TellsAFaultFromItsBeginningToItsEnd)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    daemon.remove(key, "FAN", "/sensor");
    waitFor(2);
    EXPECT_THAT(heardKinds(), ElementsAre("appeared", "cleared"));
    const HistoryRecord& record = client.heard[1];
    EXPECT_THAT(record, Contains(Pair("Component", key)));
    EXPECT_THAT(record, Contains(Pair("MessageID", "FAN")));
    EXPECT_THAT(record, Contains(Pair("Args", " one two")));
    EXPECT_THAT(record, Contains(Pair("SensorPath", "/sensor")));
    EXPECT_THAT(record, Contains(Pair("Process", "component-daemo")));
    EXPECT_THAT(record, Contains(Pair("ProcessID",
                                      std::to_string(daemon.process.pid()))));
    EXPECT_THAT(record, Contains(Pair("Occurrence", "1")));
    EXPECT_TRUE(record.contains("Lasted"));
    EXPECT_FALSE(record.contains("Missed"));
    EXPECT_EQ(client.readAll(), client.heard);
}

TEST_F(HistoryTest, CountsOccurrencesAcrossDaemons)
{
    start();
    for (std::size_t records = 2; records <= 4; records += 2)
    {
        Component daemon(key, 2);
        daemon.add(key, "FAN", "/sensor", 1);
        daemon.remove(key, "FAN", "/sensor");
        waitFor(records);
        daemon.end();
    }
    EXPECT_EQ(client.heard[2].at("Occurrence"), "2");
    EXPECT_EQ(client.heard[3].at("Occurrence"), "2");
}

TEST_F(HistoryTest, TellsOfADaemonThatWasKilled)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    waitFor(1);
    daemon.process.kill();
    waitFor(2);
    EXPECT_THAT(heardKinds(), ElementsAre("appeared", "withdrawn"));
}

TEST_F(HistoryTest, KeepsAllThatWasAnnouncedWhenItIsKilled)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    waitFor(1);
    kill();
    start();
    EXPECT_EQ(client.readAll(), client.heard);
    daemon.add(key, "FAN", "/another", 1);
    waitFor(2);
    EXPECT_GT(std::stoull(client.heard[1].at("Sequence")), 1U);
}

TEST_F(HistoryTest, MarksWhatHappenedWhileItWasDown)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "GONE", "/sensor", 1);
    waitFor(1);
    kill();
    daemon.remove(key, "GONE", "/sensor");
    daemon.add(key, "NEW", "/sensor", 1);
    start();
    std::set<std::string> told;
    for (const HistoryRecord& record : client.readAll(2))
    {
        EXPECT_THAT(record, Contains(Pair("Missed", "1")));
        told.insert(record.at("Kind") + " " + record.at("MessageID"));
    }
    EXPECT_THAT(told, ElementsAre("appeared NEW", "cleared GONE"));
}

TEST_F(HistoryTest, TellsWhatWasHiddenAndShown)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    waitFor(1);
    daemon.expect("hide 1 " + key + " - 0", "0");
    waitFor(2);
    daemon.expect("hide 0 " + key + " - 0", "0");
    waitFor(3);
    EXPECT_THAT(heardKinds(), ElementsAre("appeared", "hidden", "shown"));
}

TEST_F(HistoryTest, BelievesNoSignalOfWhoHasNoSuchComponent)
{
    start();
    emit("FaultEntryAdded", "sssastusuu", "f", "FALSE", "made up", 0,
         uint64_t{1}, uint32_t{4}, "/s", uint32_t{1}, uint32_t{1});
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    waitFor(1);
    EXPECT_EQ(client.heard[0].at("MessageID"), "FAN");
}

TEST_F(HistoryTest, AsksOnceForASenderThatIsGone)
{
    start();
    EXPECT_EQ(countQuestions(3, 20), 3);
}

TEST_F(HistoryTest, AsksForNoSenderWhileManyMessagesWait)
{
    start();
    EXPECT_LE(countQuestions(600, 1), 300);
}

TEST_F(HistoryTest, TellsThatTheEventLogWasCleared)
{
    start();
    clearLog();
    waitFor(1);
    EXPECT_THAT(heardKinds(), ElementsAre("log-cleared"));
}

TEST_F(HistoryTest, TellsWhichAttributeWasChanged)
{
    start();
    startManager();
    client.call(manager, managerPath, "com.vexa.olvar.healthmgr.Attributes",
                "Set", "sis", "lcd", int32_t{2}, "me");
    waitFor(1);
    EXPECT_EQ(client.heard[0].at("Kind"), "attribute-changed");
    EXPECT_THAT(client.heard[0].at("Comment"), HasSubstr("lcd = 2"));
}

TEST_F(HistoryTest, TellsWhatOperatorsDo)
{
    start();
    startManager();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    waitFor(1);
    client.call(manager, managerPath,
                "com.vexa.olvar.healthmgr.Acknowledgements", "Acknowledge",
                "ss", client.heard[0].at("Entry").c_str(), "I see to it");
    waitFor(2);
    const HistoryRecord& acknowledged = client.heard[1];
    EXPECT_EQ(acknowledged.at("Kind"), "acknowledged");
    EXPECT_EQ(acknowledged.at("Comment"), "I see to it");
    EXPECT_EQ(acknowledged.at("MessageID"), "FAN");
    EXPECT_EQ(acknowledged.at("Component"), key);
    silence("/sensor");
    waitFor(4);
    EXPECT_THAT(heardKinds(),
                ElementsAre("appeared", "acknowledged", "silenced", "hidden"));
    EXPECT_EQ(client.heard[2].at("Comment"), "silence 1: for the test");
    client.call(manager, managerPath, "com.vexa.olvar.healthmgr.Silences",
                "End", "t", uint64_t{1});
    waitFor(6);
    EXPECT_EQ(client.heard[4].at("Kind"), "silence-ended");
    EXPECT_EQ(client.heard[4].at("User"), std::to_string(getuid()));
    EXPECT_EQ(client.heard[5].at("Kind"), "shown");
}

TEST_F(HistoryTest, NamesNobodyForASilenceWhoseTimeIsOver)
{
    start();
    startManager();
    silence("/sensor", 1);
    waitFor(2);
    EXPECT_EQ(client.heard[0].at("User"), std::to_string(getuid()));
    EXPECT_EQ(client.heard[1].at("Kind"), "silence-ended");
    EXPECT_FALSE(client.heard[1].contains("User"));
    EXPECT_FALSE(
        client.readFiltered("Kinds", "as", 1, "silence-ended")[0].contains(
            "User"));
}

TEST_F(HistoryTest, FindsWhatOperatorsDidWhileItWasDown)
{
    startManager();
    silence("/sensor");
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/another", 1);
    const auto countSilences = [this] {
        return std::ranges::count(HistoryClient::kinds(client.readAll()),
                                  "silenced");
    };
    client.waitUntil("the silence", [&] {
        return countSilences() == 1;
    });
    EXPECT_EQ(client.readFiltered("Kinds", "as", 1, "silenced")[0].at("Missed"),
              "1");
    // Another start finds it again, and knows it.
    kill();
    start();
    daemon.add(key, "THIRD", "/sensor", 1);
    client.waitUntil("the third fault", [this] {
        return !client.readFiltered("MessageID", "s", "THIRD").empty();
    });
    EXPECT_EQ(countSilences(), 1);
}

TEST_F(HistoryTest, IsFilteredByComponentSeverityKindMessageAndTime)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    daemon.add(key, "WARN", "/sensor", 2);
    daemon.remove(key, "FAN", "/sensor");
    waitFor(3);
    const auto found = [&](auto... filter) {
        return client.readFiltered(filter...).size();
    };
    EXPECT_EQ(found("Component", "s", key.c_str()), 3U);
    EXPECT_EQ(found("Component", "s", "/com/vexa/olvar/health/fan"), 0U);
    EXPECT_EQ(found("Kinds", "as", 1, "cleared"), 1U);
    EXPECT_EQ(found("Severities", "au", 1, uint32_t{3}), 1U);
    EXPECT_EQ(found("MessageID", "s", "FAN"), 2U);
    EXPECT_EQ(found("Since", "x", INT64_MAX), 0U);
    EXPECT_EQ(found("Until", "x", INT64_MAX), 3U);
}

TEST_F(HistoryTest, RefusesAFilterThatItDoesNotKnow)
{
    start();
    const auto refusal = [this](auto... filter) -> std::string {
        try
        {
            client.readFiltered(filter...);
            return "";
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
    };
    EXPECT_THAT(refusal("Colour", "s", "red"),
                HasSubstr("no such filter: Colour"));
    EXPECT_THAT(refusal("Kinds", "as", 1, "grown"),
                HasSubstr("no such kind: grown"));
    EXPECT_THAT(refusal("Since", "s", "today"),
                HasSubstr("the filter Since must be of type x"));
    EXPECT_THAT(refusal("Severities", "as", 1, "bad"),
                HasSubstr("the filter Severities must be of type au"));
}

TEST_F(HistoryTest, IsClearedButForWhatLasts)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    daemon.add(key, "OTHER", "/sensor", 1);
    daemon.remove(key, "OTHER", "/sensor");
    waitFor(3);
    client.call(host::historyService, host::historyPath, host::historyInterface,
                host::historyClear, "");
    EXPECT_THAT(HistoryClient::kinds(client.readAll()),
                ElementsAre("appeared", "history-cleared"));
    EXPECT_EQ(client.property(host::historyFirst), 1U);
    EXPECT_EQ(client.property(host::historyLast), 4U);
    EXPECT_EQ(client.property(host::historyRecords), 2U);
}

TEST_F(HistoryTest, GoesOnWhenItsFileWasRemoved)
{
    start();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    waitFor(1);
    removeFiles();
    // What lasts is found again.
    waitFor(2);
    EXPECT_EQ(client.heard[1].at("Kind"), "appeared");
    EXPECT_EQ(client.heard[1].at("Missed"), "1");
}

TEST_F(HistoryTest, FindsASilenceAgainWhenItsFileWasRemoved)
{
    start();
    startManager();
    silence("/sensor");
    waitFor(1);
    removeFiles();
    waitFor(2);
    EXPECT_THAT(heardKinds(), ElementsAre("silenced", "silenced"));
    EXPECT_EQ(client.heard[1].at("Missed"), "1");
}

TEST_F(HistoryTest, MarksNoSilenceAsMissedThatWasCleared)
{
    start();
    startManager();
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/another", 1);
    waitFor(1);
    silence("/sensor");
    waitFor(2);
    client.call(host::historyService, host::historyPath, host::historyInterface,
                host::historyClear, "");
    kill();
    client.call(manager, managerPath,
                "com.vexa.olvar.healthmgr.Acknowledgements", "Acknowledge",
                "ss", client.heard[0].at("Entry").c_str(), "I see to it");
    start();
    // healthmgr is asked for silences first.
    client.waitUntil("the acknowledgement", [this] {
        return !client.readFiltered("Kinds", "as", 1, "acknowledged").empty();
    });
    EXPECT_THAT(client.readFiltered("Kinds", "as", 1, "silenced"), IsEmpty());
}

TEST_F(HistoryTest, FindsASilenceWhenHealthmgrBeginsLater)
{
    startManager();
    silence("/sensor");
    healthmgr->kill();
    client.waitUntil("end of healthmgr", [this] {
        return client.findOwner(manager).empty();
    });
    start();
    startManager();
    waitFor(1);
    EXPECT_THAT(heardKinds(), ElementsAre("silenced"));
    EXPECT_EQ(client.heard[0].at("Missed"), "1");
}

TEST_F(HistoryTest, LeavesTheEventLogAloneWhenItCannotBeKept)
{
    fs::create_directories(historyFolder().parent_path());
    std::ofstream(historyFolder()) << "no folder";
    logmgr = std::make_unique<Process>(std::vector<std::string>{LOGMGR});
    client.waitUntil("logmgr", [this] {
        return !client.findOwner("com.vexa.olvar.logmgr").empty();
    });
    clearLog();
    client.waitUntilReady();
    EXPECT_THROW(client.readAll(), std::runtime_error);
    Component daemon(key, 2);
    daemon.add(key, "FAN", "/sensor", 1);
    fs::remove(historyFolder());
    waitFor(1);
    EXPECT_EQ(client.heard[0].at("Missed"), "1");
    EXPECT_EQ(client.readAll(), client.heard);
}

} // namespace
} // namespace healthintf::test
