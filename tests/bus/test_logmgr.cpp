// SPDX-License-Identifier: Apache-2.0
/** @file The service logmgr: its name, its object, its start and end. */

#include "cache_view.hpp"
#include "file_content.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"
#include "text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <functional>

namespace healthintf::test
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::string errors = "com.vexa.olvar.logmgr.Error.";
const std::string entryPaths = "/com/vexa/olvar/logmgr/selentry/";

std::string catchRefusal(const std::function<void()>& work)
{
    try
    {
        work();
    }
    catch (const std::runtime_error& e)
    {
        return e.what();
    }
    return "";
}

class Logmgr : public testing::Test
{
  protected:
    /** The option for a configuration file. */
    std::vector<std::string> configured(const std::string& text) const
    {
        return {"--config", bus.folder().write("logmgr.toml", text)};
    }

    void add(int count) const
    {
        for (int i = 0; i < count; ++i)
        {
            client.add(makeRecord(7));
        }
    }

    PrivateBus bus;
    LogClient client;
};

TEST_F(Logmgr, ReturnsTheIdentifierAndKeepsTheRecord)
{
    const Process running = client.start();
    EXPECT_EQ(client.add(makeRecord(7)), 1u);
    EXPECT_EQ(client.add(makeRecord(8)), 2u);
    const ReadEntry read = client.entry(2);
    EXPECT_EQ(read.id, 2);
    EXPECT_EQ(read.name, "Fan 7");
    EXPECT_EQ(read.path, "/sensors/fan7");
    EXPECT_EQ(read.firstByte, 20);
    EXPECT_EQ(read.secondByte, 1);
    EXPECT_EQ(read.next, 65535);
    ASSERT_EQ(read.record.size(), 16u);
    EXPECT_EQ(read.record[0], 2);
    EXPECT_EQ(read.record[3], read.timestamp & 0xff);
    EXPECT_EQ(read.record[6], read.timestamp >> 24);
    EXPECT_EQ(read.record[11], 8);
}

TEST_F(Logmgr, TakesATimestamp)
{
    const Process running = client.start();
    client.callLog("AddSELWithTimestamp", "(ssyy)ayu", "", "", 0, 0, 16, 0, 0,
                   2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01020304u);
    EXPECT_EQ(client.entry(0).timestamp, 0x01020304u);
}

TEST_F(Logmgr, AnnouncesARecordAsReceivedBeforeItAnswers)
{
    const Process running = client.start();
    client.sendAddition(makeRecord(205));
    client.waitUntil("answer", [this] {
        return client.heard.size() >= 2;
    });
    EXPECT_THAT(client.heard,
                ElementsAre("SignalSELEvent " + std::string(logPath) + "/205",
                            "reply"));
    EXPECT_EQ(client.announced, makeRecord(205));
}

TEST_F(Logmgr, AnnouncesRecordsWithoutASensorFromTheLogItself)
{
    const Process running = client.start();
    for (const uint8_t type : {0xbf, 0xc0, 0xff})
    {
        client.add(makeRecord(0, type));
    }
    client.catchUp();
    const std::string log = "SignalSELEvent " + std::string(logPath);
    EXPECT_THAT(client.heard, ElementsAre(log + "/0", log, log));
    EXPECT_EQ(client.entry(3).timestamp, 0u);
    EXPECT_EQ(client.entry(3).record[3], 0xc1);
}

TEST_F(Logmgr, RefusesRecordsOfAnyOtherSize)
{
    const Process running = client.start();
    for (const std::size_t size : {0, 1, 15, 17, 100000})
    {
        EXPECT_EQ(catchRefusal([&] {
                      client.add(Bytes(size));
                  }),
                  errors + "InvalidRecord: the record has " +
                      std::to_string(size) + " bytes, not 16");
    }
    client.catchUp();
    EXPECT_THAT(client.heard, IsEmpty());
    EXPECT_EQ(client.add(makeRecord(1)), 1u);
}

TEST_F(Logmgr, RefusesMalformedCalls)
{
    const Process running = client.start();
    const auto refused = [this](const char* member, const char* types,
                                auto... args) {
        return catchRefusal([&] {
            client.callLog(member, types, args...);
        });
    };
    const std::string invalid = "org.freedesktop.DBus.Error.InvalidArgs";
    EXPECT_THAT(refused("AddSEL", ""), StartsWith(invalid));
    EXPECT_THAT(refused("AddSEL", "s", "a"), StartsWith(invalid));
    EXPECT_THAT(refused("AddSEL", "ssyyay", "a", "b", 1, 2, 0),
                StartsWith(invalid));
    EXPECT_THAT(refused("AddSELWithTimestamp", "(ssyy)ay", "", "", 1, 2, 0),
                StartsWith(invalid));
    EXPECT_THAT(refused("GetEntry", "u", 1u), StartsWith(invalid));
    EXPECT_THAT(refused("Clear", "s", "all"), StartsWith(invalid));
    EXPECT_THAT(refused("Remove", ""),
                StartsWith("org.freedesktop.DBus.Error.UnknownMethod"));
    EXPECT_EQ(client.add(makeRecord(1)), 1u);
}

TEST_F(Logmgr, RefusesEventsWhenItIsFull)
{
    const Process running = client.start(configured("capacity = 2"));
    add(2);
    EXPECT_EQ(client.property("Overflow"), "false");
    EXPECT_EQ(catchRefusal([this] {
                  add(1);
              }),
              errors + "Full: the log is full: it holds 2 of 2 entries; Clear "
                       "empties it");
    EXPECT_EQ(client.property("Overflow"), "true");
    EXPECT_EQ(client.property("Capacity"), "2");
    EXPECT_EQ(client.property("OverflowPolicy"), "'refuse'");
    EXPECT_EQ(client.clear(), 2u);
    EXPECT_EQ(client.property("Overflow"), "false");
    EXPECT_EQ(client.add(makeRecord(1)), 1u);
}

TEST_F(Logmgr, DropsTheOldestWhenItWraps)
{
    const Process running =
        client.start(configured("capacity = 3\noverflow = \"wrap\""));
    add(5);
    EXPECT_THAT(client.page(0, 0), ElementsAre(3, 4, 5, 65535));
    EXPECT_THAT(recordedEvents(), ElementsAre(3, 4, 5));
    EXPECT_EQ(client.property("Entries"), "3");
    EXPECT_EQ(client.property("Overflow"), "true");
    EXPECT_EQ(client.property("OverflowPolicy"), "'wrap'");
}

TEST_F(Logmgr, AnnouncesThatAnEmptyLogWasCleared)
{
    const Process running = client.start();
    add(3);
    client.catchUp();
    client.heard.clear();
    EXPECT_EQ(client.clear(), 3u);
    client.catchUp();
    EXPECT_THAT(client.heard,
                ElementsAre("ClearedSelEntries " + std::string(logPath)));
    EXPECT_EQ(client.property("Entries"), "0");
    EXPECT_NE(client.property("LastErase"), "0");
    EXPECT_NE(client.property("LastAddition"), "0");
    EXPECT_THAT(client.page(0, 0), ElementsAre(65535));
    EXPECT_THAT(recordedEvents(), IsEmpty());
    EXPECT_EQ(dumpedCache()["selAnswer"], 256);
}

TEST_F(Logmgr, GivesItsEntriesPageByPage)
{
    const Process running = client.start();
    add(5);
    EXPECT_THAT(client.page(0, 2), ElementsAre(1, 2, 3));
    EXPECT_THAT(client.page(3, 2), ElementsAre(3, 4, 5));
    EXPECT_THAT(client.page(5, 2), ElementsAre(5, 65535));
    EXPECT_THAT(client.page(65535, 2), ElementsAre(5, 65535));
    EXPECT_EQ(client.entry(0).next, 2);
    EXPECT_EQ(client.entry(65535).id, 5);
    EXPECT_EQ(catchRefusal([this] {
                  client.entry(6);
              }),
              errors + "NoSuchEntry: the log has no entry 6");
    client.clear();
    EXPECT_EQ(catchRefusal([this] {
                  client.entry(0);
              }),
              errors + "NoSuchEntry: the log has no entries");
}

TEST_F(Logmgr, RefusesToContinueTheListOfAClearedLog)
{
    const Process running = client.start();
    add(3);
    uint64_t generation = 0;
    sd_bus_message_read(
        client.callLog("ListLog", "ttu", uint64_t{0}, uint64_t{0}, 2u).get(),
        "t", &generation);
    EXPECT_EQ(client.property("Generation"), std::to_string(generation));
    client.clear();
    add(5);
    EXPECT_EQ(catchRefusal([&] {
                  client.callLog("ListLog", "ttu", generation, uint64_t{2}, 2u);
              }),
              errors + "OldGeneration: the log was cleared or begun anew "
                       "since");
    EXPECT_EQ(catchRefusal([&] {
                  client.callLog("ListLog", "ttu", uint64_t{0}, uint64_t{5},
                                 2u);
              }),
              errors + "NoSuchEntry: the log has no entry with the sequence "
                       "number 5");
}

TEST_F(Logmgr, ClearsOnlyUpToTheEntryThatIsKnown)
{
    const Process running = client.start();
    add(3);
    EXPECT_EQ(client.property("LastEntry"), "3");
    EXPECT_EQ(catchRefusal([&] {
                  client.callLog("ClearUpTo", "tq", uint64_t{0}, 2);
              }),
              errors + "Grown: nothing was removed: the last entry of the log "
                       "is 3 and not 2");
    EXPECT_EQ(client.property("Entries"), "3");
    uint32_t erased = 0;
    uint16_t last = 0;
    sd_bus_message_read(
        client.callLog("ClearUpTo", "tq", uint64_t{0}, 65535).get(), "uq",
        &erased, &last);
    EXPECT_EQ(erased, 3u);
    EXPECT_EQ(last, 3);
    EXPECT_EQ(client.property("LastEntry"), "0");
    EXPECT_THAT(recordedEvents(), IsEmpty());
}

TEST_F(Logmgr, MirrorsItsEntriesBeforeItAnswers)
{
    const Process running = client.start();
    EXPECT_EQ(dumpedCache()["selAnswer"], 256);
    for (uint16_t id = 1; id <= 3; ++id)
    {
        client.add(makeRecord(7));
        EXPECT_EQ(recordedEvents({logPath}).size(), id);
    }
    EXPECT_THAT(recordedEvents({entryPaths + "00002"}), ElementsAre(2));
    EXPECT_THAT(recordedEvents({entryPaths + "00004"}), IsEmpty());
    const auto entry = dumpedCache()["sel"][entryPaths + "00003"];
    const ReadEntry same = client.entry(3);
    EXPECT_EQ(entry["name"], same.name);
    EXPECT_EQ(entry["path"], same.path);
    EXPECT_EQ(entry["timestamp"], same.timestamp);
    EXPECT_EQ(entry["record"].get<Bytes>(), same.record);
}

/** Collects the log's PropertiesChanged signals. */
class AnnouncedChanges
{
  public:
    explicit AnnouncedChanges(LogClient& client)
    {
        sd_bus_match_signal(client.get(), nullptr, logService, logPath,
                            "org.freedesktop.DBus.Properties",
                            "PropertiesChanged", take, this);
    }

    const std::vector<std::string>& get() const
    {
        return changes;
    }

  private:
    static int take(sd_bus_message* message, void* context, sd_bus_error*)
    {
        static_cast<AnnouncedChanges*>(context)->changes.push_back(
            arguments(message));
        return 0;
    }

    std::vector<std::string> changes;
};

TEST_F(Logmgr, AnnouncesChangedProperties)
{
    const Process running = client.start();
    const AnnouncedChanges changes(client);
    add(1);
    client.clear();
    client.catchUp();
    ASSERT_EQ(changes.get().size(), 5u);
    EXPECT_THAT(changes.get()[0], HasSubstr("Entries"));
    EXPECT_THAT(changes.get()[1], HasSubstr("LastAddition"));
    EXPECT_THAT(changes.get()[2], HasSubstr("Entries"));
    EXPECT_THAT(changes.get()[4], HasSubstr("LastErase"));
}

TEST_F(Logmgr, AnnouncesPropertiesThatChangedWithItsFile)
{
    const Process running = client.start(configured("capacity = 2\n"));
    const std::string file = bus.folder().path() / "state" / "sel" / "data.mdb";
    const std::string empty = readContent(file);
    add(2);
    EXPECT_THAT(catchRefusal([this] {
                    add(1);
                }),
                HasSubstr("Full"));
    client.catchUp();
    const AnnouncedChanges changes(client);
    // Overwrites the file in place, as cp does.
    std::fstream(file, std::ios::in | std::ios::out | std::ios::binary)
        << empty;
    client.waitUntil("three changes", [&changes] {
        return changes.get().size() >= 3;
    });
    client.catchUp();
    EXPECT_THAT(changes.get(),
                ElementsAre(HasSubstr("Entries"), HasSubstr("LastAddition"),
                            HasSubstr("Overflow")));
}

TEST_F(Logmgr, EndsWhenTheNameIsTaken)
{
    const Process running = client.start();
    Process second({LOGMGR}, {"HEALTHINTF_STATE_DIR=" +
                              (bus.folder().path() / "other").string()});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(second.errors(),
                HasSubstr("logmgr: com.vexa.olvar.logmgr: File exists"));
}

TEST_F(Logmgr, LeavesTheMirrorOfTheOwnerOfTheName)
{
    const Process running = client.start();
    add(3);
    Process second({LOGMGR}, {"HEALTHINTF_STATE_DIR=" +
                              (bus.folder().path() / "other").string()});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(recordedEvents(), ElementsAre(1, 2, 3));
    add(1);
    EXPECT_THAT(recordedEvents(), ElementsAre(1, 2, 3, 4));
}

TEST_F(Logmgr, EndsCleanlyOnASignal)
{
    for (const int signal : {SIGTERM, SIGINT})
    {
        Process running = client.start();
        running.signal(signal);
        EXPECT_EQ(running.wait(), 0);
    }
}

TEST_F(Logmgr, EndsWithoutABus)
{
    bus.kill();
    Process alone({LOGMGR});
    EXPECT_EQ(alone.wait(), 1);
    EXPECT_THAT(alone.errors(),
                HasSubstr("logmgr: unable to connect to the bus"));
}

TEST_F(Logmgr, EndsWhenItLosesTheBus)
{
    Process running = client.start();
    bus.kill();
    EXPECT_EQ(running.wait(), 1);
    EXPECT_THAT(running.errors(),
                HasSubstr("the connection to the bus is lost"));
}

TEST_F(Logmgr, EndsWithFileLineAndKeyOfAWrongConfiguration)
{
    Process wrong([this] {
        std::vector<std::string> command{LOGMGR};
        const auto options = configured("\ncapacity = 70000");
        command.insert(command.end(), options.begin(), options.end());
        return command;
    }());
    EXPECT_EQ(wrong.wait(), 1);
    EXPECT_EQ(wrong.errors(),
              "logmgr: " + (bus.folder().path() / "logmgr.toml").string() +
                  ":2: capacity: must be a whole number from 1 to 65534\n");
}

TEST_F(Logmgr, PrintsItsVersionAndItsPurpose)
{
    EXPECT_THAT(readOutput({LOGMGR, "--version"}),
                testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_THAT(readOutput({LOGMGR, "--help"}),
                HasSubstr("Keeps the System Event Log"));
    Process wrong({LOGMGR, "--wrong"});
    EXPECT_NE(wrong.wait(), 0);
}

} // namespace
} // namespace healthintf::test
