// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "file_content.hpp"
#include "logmgr/event_log.hpp"
#include "sample_events.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>

namespace healthintf::logmgr
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Kind = Refusal::Kind;

/** The kind and the text of a refusal. */
std::pair<std::optional<Kind>, std::string>
catchRefusal(const std::function<void()>& work)
{
    try
    {
        work();
    }
    catch (const Refusal& e)
    {
        return {e.kind(), e.what()};
    }
    return {std::nullopt, ""};
}

class Log : public testing::Test
{
  protected:
    /** A log that uses the test's store. */
    EventLog& open(uint16_t capacity = 10, Overflow overflow = Overflow::refuse)
    {
        log.reset();
        store.reset();
        store.emplace(folder.path());
        return log.emplace(*store, Config{capacity, overflow}, [this] {
            return time;
        });
    }

    void add(int count)
    {
        for (int i = 0; i < count; ++i)
        {
            log->add(sampleEvent());
        }
    }

    std::vector<uint16_t> ids(uint16_t first = firstEntry, uint32_t limit = 0)
    {
        std::vector<uint16_t> found;
        for (const SELEntryProperties& entry : log->list(first, limit).entries)
        {
            found.push_back(entry.recordId);
        }
        return found;
    }

    test::TemporaryFolder folder;
    uint32_t time = 0x01020304;
    std::optional<SelStore> store;
    std::optional<EventLog> log;
};

TEST_F(Log, GivesARecordItsIdentifierAndItsTime)
{
    open();
    add(1);
    const auto [entry, dropped, sequence] = log->add(sampleEvent());
    EXPECT_EQ(sequence, 1U);
    EXPECT_EQ(entry.recordId, 2);
    EXPECT_EQ(entry.timestamp, time);
    EXPECT_EQ(entry.sensor.name, "Fan 7");
    EXPECT_EQ(entry.sensor.path, "/sensors/fan7");
    EXPECT_EQ(entry.sensor.firstByte, 20);
    EXPECT_EQ(entry.sensor.secondByte, 1);
    EXPECT_THAT(dropped, IsEmpty());
    Record expected = sampleRecord();
    expected[0] = 2;
    expected[1] = 0;
    std::ranges::copy(std::array{4, 3, 2, 1}, expected.begin() + 3);
    EXPECT_EQ(entry.record, expected);
}

TEST_F(Log, WritesIdentifiersWithTheirLowByteFirst)
{
    open(300);
    add(299);
    const Record record = log->add(sampleEvent()).entry.record;
    EXPECT_EQ(record[0], 300 & 0xff);
    EXPECT_EQ(record[1], 300 >> 8);
}

TEST_F(Log, StoresTheGivenTime)
{
    open();
    Event event = sampleEvent();
    event.timestamp = 0xa0b0c0d0;
    const SELEntryProperties entry = log->add(event).entry;
    EXPECT_EQ(entry.timestamp, 0xa0b0c0d0);
    EXPECT_EQ(entry.record[3], 0xd0);
    EXPECT_EQ(entry.record[6], 0xa0);
    EXPECT_EQ(log->state().lastAddition, time) << "when it was added";
}

TEST_F(Log, LeavesARecordWithoutATimeUnchanged)
{
    open();
    EXPECT_EQ(log->add(sampleEvent(0xdf)).entry.timestamp, time);
    for (const uint8_t type : {0xe0, 0xff})
    {
        Event event = sampleEvent(type);
        event.timestamp = 5;
        const SELEntryProperties entry = log->add(event).entry;
        EXPECT_EQ(entry.timestamp, 0U);
        Record expected = sampleRecord(type);
        expected[0] = static_cast<uint8_t>(entry.recordId);
        expected[1] = 0;
        EXPECT_EQ(entry.record, expected);
    }
}

TEST_F(Log, RefusesRecordsOfAnyOtherSize)
{
    for (const std::size_t size : {0, 1, 15, 17, 100000})
    {
        const auto [kind, why] = catchRefusal([&] {
            makeEvent({}, std::vector<uint8_t>(size), std::nullopt);
        });
        EXPECT_EQ(kind, Kind::invalidRecord);
        EXPECT_EQ(why,
                  "the record has " + std::to_string(size) + " bytes, not 16");
    }
}

TEST_F(Log, RefusesTextsThatAreTooLong)
{
    const std::string longest(511, 'x');
    open();
    log->add(makeEvent({longest, longest, 0, 0}, sampleRecord(), {}));
    EXPECT_EQ(log->list(1, 1).entries.at(0).sensor.path, longest);
    EXPECT_EQ(catchRefusal([&] {
                  makeEvent({longest + "x", "", 0, 0}, sampleRecord(), {});
              }).second,
              "the name of the sensor has 512 bytes, more than 511");
    EXPECT_EQ(catchRefusal([&] {
                  makeEvent({"", longest + "x", 0, 0}, sampleRecord(), {});
              }).second,
              "the path of the sensor has 512 bytes, more than 511");
}

TEST_F(Log, RefusesEventsWhenItIsFullUntilItIsCleared)
{
    open(3);
    add(3);
    EXPECT_FALSE(log->state().overflow);
    const auto [kind, why] = catchRefusal([&] {
        add(1);
    });
    EXPECT_EQ(kind, Kind::full);
    EXPECT_EQ(why, "the log is full: it holds 3 of 3 entries; Clear empties "
                   "it");
    EXPECT_THAT(ids(), ElementsAre(1, 2, 3));
    EXPECT_TRUE(log->state().overflow);
    EXPECT_TRUE(open(3).state().overflow) << "after a restart";
    time = 77;
    EXPECT_EQ(log->clear(), 3U);
    EXPECT_FALSE(log->state().overflow);
    EXPECT_EQ(log->state().lastErase, 77U);
    add(1);
    EXPECT_THAT(ids(), ElementsAre(1));
}

TEST_F(Log, SaysEachTimeThatItHasBecomeFull)
{
    std::string lines;
    const auto fill = [this](uint16_t capacity) {
        open(capacity);
        add(1);
        const auto refuse = [this] {
            add(1);
        };
        return catchRefusal(refuse).first == Kind::full &&
               catchRefusal(refuse).first == Kind::full;
    };
    EXPECT_EQ(test::inChild(
                  [&fill] {
                      return fill(1) && fill(2) ? 0 : 1;
                  },
                  &lines),
              0);
    const std::string line = "the log is full and refuses events";
    const std::size_t first = lines.find(line);
    const std::size_t second = lines.find(line, first + 1);
    EXPECT_NE(second, std::string::npos) << lines;
    EXPECT_EQ(lines.find(line, second + 1), std::string::npos) << lines;
}

TEST_F(Log, DropsTheOldestWhenItIsFullAndWraps)
{
    open(3, Overflow::wrap);
    add(3);
    EXPECT_FALSE(log->state().overflow);
    EXPECT_THAT(log->add(sampleEvent()).dropped, ElementsAre(1));
    EXPECT_THAT(ids(), ElementsAre(2, 3, 4));
    EXPECT_TRUE(log->state().overflow);
    open(3, Overflow::wrap);
    EXPECT_TRUE(log->state().overflow);
    EXPECT_THAT(ids(), ElementsAre(2, 3, 4));
}

TEST_F(Log, WrapsAtACapacityOfOne)
{
    open(1, Overflow::wrap);
    add(5);
    EXPECT_THAT(ids(), ElementsAre(5));
    open(1, Overflow::wrap);
    add(1);
    EXPECT_THAT(ids(), ElementsAre(6)) << "identifiers go on rising";
}

TEST_F(Log, LosesNothingToASmallerCapacityUntilThereIsAnEvent)
{
    open(10);
    add(6);
    open(3);
    EXPECT_EQ(ids().size(), 6U);
    EXPECT_EQ(catchRefusal([&] {
                  add(1);
              }).second,
              "the log is full: it holds 6 of 3 entries; Clear empties it");
    open(3, Overflow::wrap);
    EXPECT_EQ(ids().size(), 6U);
    EXPECT_THAT(log->add(sampleEvent()).dropped, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(ids(), ElementsAre(5, 6, 7));
}

TEST_F(Log, TakesAnEventAfterItsFileWasOverwritten)
{
    open();
    add(3);
    const std::filesystem::path file = folder.path() / "data.mdb";
    const std::string backup = test::readContent(file);
    add(5);
    std::fstream(file, std::ios::in | std::ios::out | std::ios::binary)
        << backup;
    add(1);
    open();
    EXPECT_THAT(ids(), ElementsAre(1, 2, 3, 4));
}

TEST_F(Log, ClearsTheContentOfAnOverwrittenFile)
{
    open();
    add(3);
    const std::filesystem::path file = folder.path() / "data.mdb";
    const std::string backup = test::readContent(file);
    const auto overwrite = [&] {
        std::fstream(file, std::ios::in | std::ios::out | std::ios::binary)
            << backup;
    };
    add(5);
    overwrite();
    EXPECT_EQ(catchRefusal([&] {
                  log->clearUpTo(anyGeneration, 8);
              }).first,
              Kind::grown);
    EXPECT_THAT(ids(), ElementsAre(1, 2, 3));
    add(2);
    overwrite();
    EXPECT_EQ(log->clear(), 3U);
}

TEST_F(Log, ReusesIdentifiersAfterTheLast)
{
    test::expectOnSmallFilesystem(folder.path(), "size=60m", [this] {
        open(identifiers, Overflow::wrap);
        add(identifiers);
        const auto again = log->add(sampleEvent());
        if (again.entry.recordId != 1 ||
            again.dropped != std::vector<uint16_t>{1})
        {
            return 1;
        }
        add(9);
        const bool last = ids(lastEntry) == std::vector<uint16_t>{10};
        const bool first = ids(firstEntry, 1) == std::vector<uint16_t>{11};
        const bool around =
            ids(65533, 4) == std::vector<uint16_t>{65533, 65534, 1, 2};
        return last && first && around ? 0 : 2;
    });
}

TEST_F(Log, FindsEntriesByTheirIdentifiersAcrossTheWrap)
{
    open(4, Overflow::wrap);
    add(6);
    EXPECT_THAT(ids(4, 1), ElementsAre(4));
    EXPECT_THAT(ids(firstEntry, 1), ElementsAre(3));
    EXPECT_THAT(ids(lastEntry), ElementsAre(6));
    for (const uint16_t gone : {2, 7, 65534})
    {
        const auto [kind, why] = catchRefusal([&] {
            log->list(gone, 1);
        });
        EXPECT_EQ(kind, Kind::noSuchEntry);
        EXPECT_EQ(why, "the log has no entry " + std::to_string(gone));
    }
}

TEST_F(Log, DoesNotLogAtEachEventThatItIsFullWhenItCannotStoreThat)
{
    std::string lines;
    EXPECT_EQ(test::inChild(
                  [this] {
                      open(1);
                      add(1);
                      test::growNoMore();
                      int refused = 0;
                      for (int i = 0; i < 100; ++i)
                      {
                          refused += static_cast<int>(catchRefusal([this] {
                                                          add(1);
                                                      }).first == Kind::full);
                      }
                      return refused == 100 && ids().size() == 1 ? 0 : 1;
                  },
                  &lines),
              0);
    EXPECT_THAT(lines, Not(HasSubstr("the log is full")));
    EXPECT_THAT(lines, HasSubstr("unable to change the log"));
    EXPECT_LT(std::ranges::count(lines, '\n'), 20) << lines;
}

TEST_F(Log, ReportsADamagedEntryAsMissing)
{
    open();
    add(1);
    SELEntryProperties odd = nextEntry(*store);
    odd.sensor.name = "a\xff";
    store->append(odd, 0, store->state());
    add(1);
    EXPECT_EQ(catchRefusal([this] {
                  log->entry(2);
              }),
              std::pair(std::optional(Kind::noSuchEntry),
                        std::string("the entry 2 of the log is damaged")));
    EXPECT_THAT(ids(2), ElementsAre(3)) << "a list goes on behind it";
    for (const auto& [asked, given] : std::map<uint16_t, uint16_t>{
             {1, 1}, {3, 3}, {firstEntry, 1}, {lastEntry, 3}})
    {
        EXPECT_EQ(log->entry(asked).entries.at(0).recordId, given);
    }
}

TEST_F(Log, SkipsAnEntryWithADamagedText)
{
    open();
    for (const char* damaged : {"a\xff", "a\0b"})
    {
        add(1);
        SELEntryProperties odd = nextEntry(*store);
        odd.sensor.name = std::string(damaged, 3);
        store->append(odd, 0, store->state());
        SELEntryProperties path = nextEntry(*store);
        path.sensor.path = odd.sensor.name;
        store->append(path, 0, store->state());
    }
    EXPECT_THAT(ids(), ElementsAre(1, 4));
    EXPECT_EQ(log->listFrom(anyGeneration, 1, 0).entries.size(), 1U);
    for (const uint16_t id : {2, 3, 5, 6})
    {
        EXPECT_EQ(catchRefusal([&] {
                      log->entry(id);
                  }).first,
                  Kind::noSuchEntry);
    }
    EXPECT_EQ(log->entry(lastEntry).entries.at(0).recordId, 4)
        << "the last entry that is not damaged";
}

TEST_F(Log, ListsNothingWhenAllEntriesAreDamaged)
{
    open();
    SELEntryProperties odd = nextEntry(*store);
    odd.sensor.name = "\xff";
    store->append(odd, 0, store->state());
    for (const uint16_t id : {firstEntry, uint16_t{1}, lastEntry})
    {
        EXPECT_EQ(catchRefusal([&] {
                      log->entry(id);
                  }).second,
                  "the entry " + std::to_string(id) + " of the log is damaged");
    }
}

TEST_F(Log, ClampsTimes)
{
    EXPECT_EQ(toRecordTime(-1), 0U);
    EXPECT_EQ(toRecordTime(0), 0U);
    EXPECT_EQ(toRecordTime(4294967295), 4294967295U);
    EXPECT_EQ(toRecordTime(4294967296), 4294967295U);
}

TEST_F(Log, GivesPagesWithTheNextFirstEntry)
{
    open();
    add(5);
    EXPECT_THAT(ids(firstEntry, 2), ElementsAre(1, 2));
    EXPECT_EQ(log->list(firstEntry, 2).next, 3);
    EXPECT_THAT(ids(3, 2), ElementsAre(3, 4));
    EXPECT_EQ(log->list(3, 2).next, 5);
    EXPECT_THAT(ids(5, 2), ElementsAre(5));
    EXPECT_EQ(log->list(5, 2).next, noEntry);
}

TEST_F(Log, LimitsAPage)
{
    test::expectOnSmallFilesystem(folder.path(), "size=20m", [this] {
        open(2000);
        add(1001);
        const std::size_t each = 64 +
                                 log->entry(1).entries[0].sensor.name.size() +
                                 log->entry(1).entries[0].sensor.path.size();
        const std::size_t most = EventLog::maxPageBytes / each;
        const auto isWhole = [&](uint32_t limit) {
            const Page page = log->list(firstEntry, limit);
            return page.entries.size() == most && page.next == most + 1;
        };
        return isWhole(0) && isWhole(5000) ? 0 : 1;
    });
}

TEST_F(Log, HasNoEntriesWhenItIsEmpty)
{
    open();
    EXPECT_THAT(log->list(firstEntry, 5).entries, IsEmpty());
    EXPECT_EQ(log->list(firstEntry, 5).next, noEntry);
    EXPECT_EQ(catchRefusal([&] {
                  log->list(lastEntry, 1);
              }).first,
              Kind::noSuchEntry);
    EXPECT_EQ(log->clear(), 0U);
}

TEST_F(Log, SurvivesAnEventThatCannotBeStored)
{
    test::expectOnSmallFilesystem(folder.path(), "size=3m", [this] {
        open(identifiers);
        std::pair<std::optional<Kind>, std::string> refused;
        uint32_t added = 0;
        while (!(refused = catchRefusal([&] {
                     add(1);
                 })).first)
        {
            ++added;
        }
        const bool told =
            refused.first == Kind::notStored &&
            refused.second.find("free some space") != std::string::npos;
        const bool same = log->entries() == added && added > 100;
        log->clear();
        add(1);
        return told && same && ids() == std::vector<uint16_t>{1} ? 0 : 1;
    });
}

TEST_F(Log, AsksForAnExportWhileItsMissingFileCannotBeRewritten)
{
    open(2);
    add(1);
    std::filesystem::remove_all(folder.path());
    std::ofstream(folder.path()) << "no folder";
    const auto refused = catchRefusal([&] {
        add(1);
    });
    EXPECT_EQ(refused.first, Kind::notStored);
    EXPECT_THAT(refused.second, HasSubstr("export the log before logmgr ends"));
    std::filesystem::remove(folder.path());
    EXPECT_EQ(log->add(sampleEvent()).entry.recordId, 2);
}

TEST_F(Log, IsListedBySequenceNumbersThatAreNotGivenAgain)
{
    open(identifiers, Overflow::wrap);
    store->append(nextEntry(*store), 0, {});
    const Page page = log->listFrom(anyGeneration, 0, 1);
    EXPECT_EQ(page.entries.size(), 1U);
    EXPECT_EQ(page.nextSequence, noSequence);
    add(4);
    EXPECT_EQ(log->listFrom(log->generation(), 2, 2).entries.front().recordId,
              3);
    EXPECT_EQ(log->listFrom(log->generation(), 2, 2).nextSequence, 4U);
    store->append(nextEntry(*store), 3, {});
    EXPECT_EQ(log->listFrom(anyGeneration, 0, 0).entries.front().recordId, 4);
    const auto refused = [this](uint64_t first) {
        return catchRefusal([&] {
                   log->listFrom(anyGeneration, first, 0);
               })
            .first;
    };
    EXPECT_EQ(refused(2), Kind::noSuchEntry) << "it was dropped";
    EXPECT_EQ(refused(6), Kind::noSuchEntry);
    EXPECT_EQ(refused(3), std::nullopt);
}

TEST_F(Log, HasANewGenerationWhenItIsCleared)
{
    open();
    add(3);
    const uint64_t before = log->generation();
    EXPECT_NE(before, anyGeneration);
    open();
    EXPECT_EQ(log->generation(), before);
    log->clear();
    add(3);
    EXPECT_NE(log->generation(), before);
    EXPECT_EQ(catchRefusal([&] {
                  log->listFrom(before, 1, 0);
              }),
              std::pair(std::optional(Kind::oldGeneration),
                        std::string("the log was cleared or begun anew "
                                    "since")));
}

TEST_F(Log, IsClearedOnlyUpToTheEntryThatIsNamed)
{
    open();
    add(3);
    EXPECT_EQ(log->lastIdentifier(), 3);
    const auto refused = [this](uint64_t generation, uint16_t last) {
        return catchRefusal([&] {
                   log->clearUpTo(generation, last);
               })
            .first;
    };
    EXPECT_EQ(refused(anyGeneration, 2), Kind::grown);
    EXPECT_EQ(refused(anyGeneration, 0), Kind::grown);
    EXPECT_EQ(refused(log->generation() + 1, 3), Kind::oldGeneration);
    EXPECT_EQ(log->entries(), 3U);
    EXPECT_EQ(log->clearUpTo(log->generation(), 3), 3U);
    EXPECT_EQ(log->lastIdentifier(), 0);
    EXPECT_EQ(refused(anyGeneration, 3), Kind::grown);
    EXPECT_EQ(log->clearUpTo(anyGeneration, 0), 0U);
    add(2);
    EXPECT_EQ(log->clearUpTo(anyGeneration, lastEntry), 2U);
}

} // namespace
} // namespace healthintf::logmgr
