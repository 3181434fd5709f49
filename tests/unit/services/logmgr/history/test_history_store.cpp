// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "file_content.hpp"
#include "logmgr/history/history_store.hpp"
#include "sample_records.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::history
{
namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class HistoryStoreTest : public testing::Test
{
  protected:
    /** Opens the history, or opens it again. */
    HistoryStore& open(const HistoryLimits& limits = {})
    {
        store.reset();
        store = std::make_unique<HistoryStore>(place, limits);
        return *store;
    }

    /** Adds a record.
     *
     *  @return its sequence number */
    uint64_t add(Record record)
    {
        store->add(record);
        return record.sequence;
    }

    FollowedFault follow(const Fault& fault, bool hidden = false)
    {
        FollowedFault followed;
        followed.appeared = makeRecord(Kind::appeared, 1, fault);
        followed.hidden = hidden;
        followed.processStart = 77;
        store->add(followed.appeared);
        store->follow(followed);
        return followed;
    }

    std::vector<uint64_t> numbers(HistoryQuery query = {})
    {
        query.limit = query.limit == 0 ? 10'000 : query.limit;
        std::vector<uint64_t> found;
        for (const Record& record : store->read(query).records)
        {
            found.push_back(record.sequence);
        }
        return found;
    }

    /** A fault with as much text as a record may have. */
    static Fault makeLarge(const std::string& component)
    {
        Fault large = makeFault(component, "1", 1001);
        large.args.assign(mostArguments, std::string(longestText, 'x'));
        return large;
    }

    /** Adds small records of another user than makeLarge() has. */
    void addOfOthers()
    {
        for (std::size_t i = 0; i < recordsOfOthers; ++i)
        {
            add(makeRecord(Kind::appeared, 1,
                           makeFault(fan + std::to_string(i), "1", 0)));
        }
    }

    std::size_t countOfOthers()
    {
        return std::ranges::count(store->read({.limit = 10'000}).records, 0U,
                                  [](const Record& record) {
                                      return record.fault.user;
                                  });
    }

    static constexpr std::size_t recordsOfOthers = 300;
    static constexpr HistoryLimits oneMebibyte{.records = 100'000,
                                               .bytes = 1UL << 20};
    /** The bytes are found to be too many when a record is added. */
    static constexpr uint64_t largestRecord = 40UL << 10;

    test::TemporaryFolder folder;
    fs::path place = folder.path() / "deep" / "history";
    fs::path file = place / "history.db";
    std::unique_ptr<HistoryStore> store;
};

TEST_F(HistoryStoreTest, GivesBackAllOfARecord)
{
    open();
    Record record = makeRecord(Kind::cleared, 1'795'455'317'326);
    record.lasted = 1500;
    record.occurrence = 7;
    record.missed = true;
    record.comment = "seen";
    add(record);
    store->commit();
    open();
    const auto page = store->read({.limit = 1});
    ASSERT_EQ(page.records.size(), 1U);
    const Record& found = page.records.front();
    EXPECT_EQ(found.sequence, 1U);
    EXPECT_EQ(found.time, record.time);
    EXPECT_EQ(found.kind, Kind::cleared);
    EXPECT_EQ(found.lasted, 1500);
    EXPECT_EQ(found.occurrence, 7U);
    EXPECT_TRUE(found.missed);
    EXPECT_EQ(found.comment, "seen");
    const Fault fault = makeFault();
    EXPECT_EQ(found.fault.component, fault.component);
    EXPECT_EQ(found.fault.entry, fault.entry);
    EXPECT_EQ(found.fault.messageId, fault.messageId);
    EXPECT_EQ(found.fault.args, fault.args);
    EXPECT_EQ(found.fault.message, fault.message);
    EXPECT_EQ(found.fault.severity, fault.severity);
    EXPECT_EQ(found.fault.sensorPath, fault.sensorPath);
    EXPECT_EQ(found.fault.sensorNumber, fault.sensorNumber);
    EXPECT_EQ(found.fault.sensorType, fault.sensorType);
    EXPECT_EQ(found.fault.process, fault.process);
    EXPECT_EQ(found.fault.pid, fault.pid);
    EXPECT_EQ(found.fault.user, fault.user);
}

TEST_F(HistoryStoreTest, GivesDamagedTextsAsARecordMayHaveThem)
{
    open();
    add(makeRecord(Kind::appeared, 1));
    store->commit();
    Database(file).run("UPDATE records SET message = CAST(x'46FF' AS TEXT), "
                       "comment = CAST(x'C3' AS TEXT), args = '[\"'");
    const Record found = store->read({.limit = 1}).records.at(0);
    EXPECT_EQ(found.fault.message, "F?");
    EXPECT_EQ(found.comment, "?");
    EXPECT_THAT(found.fault.args, IsEmpty());
}

TEST_F(HistoryStoreTest, GivesTextsOfAnEarlierVersionAsTheBusCarriesThem)
{
    open();
    add(makeRecord(Kind::appeared, 1));
    store->commit();
    Database(file).run("UPDATE records SET message = CAST(x'46EFB790' AS TEXT)"
                       ", args = CAST(x'5B22EFBFBF225D' AS TEXT)");
    const Record found = store->read({.limit = 1}).records.at(0);
    EXPECT_EQ(found.fault.message, "F???");
    EXPECT_THAT(found.fault.args, ElementsAre("???"));
}

TEST_F(HistoryStoreTest, StoresEachTextInItsOwnSize)
{
    open();
    Fault fault = makeFault();
    fault.args.assign(mostArguments, std::string(longestText, '\x01'));
    fault.args[0] = "";
    constexpr uint64_t records = 40;
    for (uint64_t i = 0; i < records; ++i)
    {
        add(makeRecord(Kind::appeared, 1, fault));
    }
    store->commit();
    EXPECT_LT(store->bytes(), records * (mostArguments + 4) * longestText);
    EXPECT_EQ(store->read({.limit = 1}).records.at(0).fault.args, fault.args);
}

TEST_F(HistoryStoreTest, ReadsArgumentsAsEarlierVersionsWroteThem)
{
    open();
    add(makeRecord(Kind::appeared, 1));
    store->commit();
    Database(file).run(R"(UPDATE records SET args = '["Fan \"1\"","","2"]')");
    EXPECT_THAT(store->read({.limit = 1}).records.at(0).fault.args,
                ElementsAre("Fan \"1\"", "", "2"));
}

TEST_F(HistoryStoreTest, CountsTheOccurrencesOfAFault)
{
    open();
    for (uint64_t occurrence = 1; occurrence <= 3; ++occurrence)
    {
        Record appeared = makeRecord(Kind::appeared, 1);
        store->add(appeared);
        EXPECT_EQ(appeared.occurrence, occurrence);
        Record cleared = appeared;
        cleared.kind = Kind::cleared;
        store->add(cleared);
        EXPECT_EQ(cleared.occurrence, occurrence);
    }
    Record other = makeRecord(Kind::appeared, 1, makeFault(fan, "2"));
    store->add(other);
    EXPECT_EQ(other.occurrence, 1U);
}

TEST_F(HistoryStoreTest, GivesNoOccurrenceTwiceWhenAnEarlierOneEndsLate)
{
    open();
    Record first = makeRecord(Kind::appeared, 1);
    store->add(first);
    add(makeRecord(Kind::appeared, 2));
    first.kind = Kind::cleared;
    add(first);
    Record third = makeRecord(Kind::appeared, 3);
    store->add(third);
    EXPECT_EQ(third.occurrence, 3U);
}

TEST_F(HistoryStoreTest, LosesNoCommittedGroupWhenItsProcessIsKilled)
{
    const auto path = place;
    test::Child child([path](const test::Child::Parent& parent) {
        HistoryStore writer(path, {});
        Record record = makeRecord(Kind::appeared, 1);
        writer.add(record);
        writer.commit();
        writer.add(record);
        parent.tell("ready");
        test::Child::Parent::waitForever();
        return 0;
    });
    child.hear();
    child.kill();
    open();
    EXPECT_THAT(numbers(), ElementsAre(1));
    EXPECT_GT(add(makeRecord(Kind::cleared, 2)), 2U);
}

TEST_F(HistoryStoreTest, RemembersTheFaultsThatLast)
{
    open();
    follow(makeFault(fan, "1"), true);
    const FollowedFault ended = follow(makeFault(fan, "2"));
    store->forget(ended);
    store->commit();
    open();
    const auto faults = store->followed();
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults.front().appeared.fault.entry, makeFault().entry);
    EXPECT_EQ(faults.front().appeared.sequence, 1U);
    EXPECT_TRUE(faults.front().hidden);
    EXPECT_EQ(faults.front().processStart, 77U);
}

TEST_F(HistoryStoreTest, LetsLastingFaultsOfAUserHaveAQuarterOfItsBytes)
{
    open(oneMebibyte);
    std::vector<FollowedFault> followed;
    while (store->mayFollow(1001))
    {
        followed.push_back(
            follow(makeLarge("/" + std::to_string(followed.size()))));
    }
    EXPECT_GT(store->bytes(), oneMebibyte.bytes / 5);
    EXPECT_LT(store->bytes(), oneMebibyte.bytes / 3);
    EXPECT_TRUE(store->mayFollow(0));
    // What is noted anew counts once, and what is opened again counts, too.
    for (const FollowedFault& each : followed)
    {
        store->follow(each);
    }
    store->commit();
    open(oneMebibyte);
    EXPECT_FALSE(store->mayFollow(1001));
    store->forget(followed.back());
    store->forget(followed.back());
    EXPECT_TRUE(store->mayFollow(1001));
    follow(makeLarge("/another"));
    EXPECT_FALSE(store->mayFollow(1001));
}

TEST_F(HistoryStoreTest, LetsLastingFaultsOfAUserHaveAQuarterOfItsRecords)
{
    open({.records = 8});
    follow(makeFault(fan, "1"));
    EXPECT_TRUE(store->mayFollow(1000));
    follow(makeFault(fan, "2"));
    EXPECT_FALSE(store->mayFollow(1000));
    EXPECT_TRUE(store->mayFollow(1001));
}

TEST_F(HistoryStoreTest, RemovesTheOldestBeyondItsLimit)
{
    open({.records = 4});
    follow(makeFault(fan, "1"));
    for (int i = 0; i < 3; ++i)
    {
        add(makeRecord(Kind::logCleared, i, {}));
    }
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4));
    add(makeRecord(Kind::logCleared, 4, {}));
    EXPECT_EQ(store->records(), 4U);
    // The first one is that of a fault that lasts.
    EXPECT_THAT(numbers(), ElementsAre(1, 3, 4, 5));
}

TEST_F(HistoryStoreTest, LetsNoComponentCrowdOthersOut)
{
    open({.records = 40});
    const uint64_t rare = add(makeRecord(Kind::appeared, 1, makeFault(fan)));
    for (int i = 0; i < 200; ++i)
    {
        add(makeRecord(Kind::appeared, i, makeFault("/busy")));
    }
    EXPECT_EQ(store->records(), 40U);
    EXPECT_EQ(numbers().front(), rare);
}

TEST_F(HistoryStoreTest, LetsNoUserCrowdOthersOut)
{
    open({.records = 40});
    const uint64_t rare = add(makeRecord(Kind::appeared, 1, makeFault(fan)));
    for (int i = 0; i < 200; ++i)
    {
        add(makeRecord(Kind::appeared, i,
                       makeFault("/busy" + std::to_string(i), "1", 1001)));
    }
    EXPECT_EQ(store->records(), 40U);
    EXPECT_EQ(numbers().front(), rare);
}

TEST_F(HistoryStoreTest, LetsNoComponentCrowdOthersOutByTheSizeOfItsTexts)
{
    open(oneMebibyte);
    addOfOthers();
    for (int i = 0; i < 100; ++i)
    {
        add(makeRecord(Kind::appeared, i, makeLarge("/busy")));
    }
    EXPECT_EQ(countOfOthers(), recordsOfOthers);
    EXPECT_LE(store->bytes(), oneMebibyte.bytes + largestRecord);
}

TEST_F(HistoryStoreTest, LetsNoUserCrowdOthersOutByTheSizeOfHisTexts)
{
    open(oneMebibyte);
    addOfOthers();
    // What was counted at the addition counts also when it is opened again.
    store->commit();
    open(oneMebibyte);
    for (int i = 0; i < 100; ++i)
    {
        add(makeRecord(Kind::appeared, i,
                       makeLarge("/busy" + std::to_string(i))));
    }
    EXPECT_EQ(countOfOthers(), recordsOfOthers);
    EXPECT_LE(store->bytes(), oneMebibyte.bytes + largestRecord);
}

TEST_F(HistoryStoreTest, StaysBelowItsBytes)
{
    constexpr uint64_t most = 1UL << 20;
    open({.records = 100'000, .bytes = most});
    Fault large = makeFault();
    large.args.assign(mostArguments, std::string(longestText, 'x'));
    for (int i = 0; i < 200; ++i)
    {
        add(makeRecord(Kind::appeared, i, large));
        if (i % 10 == 0)
        {
            store->commit();
            store->sync();
        }
    }
    store->commit();
    store->sync();
    EXPECT_LT(store->records(), 50U);
    EXPECT_LE(fs::file_size(file), most + most / 4);
}

TEST_F(HistoryStoreTest, ClearsAllButWhatLasts)
{
    open();
    follow(makeFault(fan, "1"));
    add(makeRecord(Kind::logCleared, 1, {}));
    store->clear();
    EXPECT_THAT(numbers(), ElementsAre(1));
    EXPECT_EQ(store->records(), 1U);
    // Its number does not come again.
    EXPECT_EQ(add(makeRecord(Kind::historyCleared, 1, {})), 3U);
}

TEST_F(HistoryStoreTest, ReadsForwardsAndBackwardsInPages)
{
    open();
    for (int i = 0; i < 5; ++i)
    {
        add(makeRecord(Kind::appeared, i));
    }
    EXPECT_THAT(numbers({.from = 2, .limit = 2}), ElementsAre(2, 3));
    EXPECT_EQ(store->read({.from = 2, .limit = 2}).next, 4U);
    EXPECT_EQ(store->read({.from = 2, .limit = 4}).next, 0U);
    EXPECT_THAT(numbers({.from = 4, .backwards = true, .limit = 2}),
                ElementsAre(4, 3));
    EXPECT_EQ(store->read({.from = 4, .backwards = true, .limit = 2}).next, 2U);
    EXPECT_THAT(numbers({.from = UINT64_MAX, .backwards = true, .limit = 1}),
                ElementsAre(5));
    EXPECT_THAT(numbers({.from = 6}), IsEmpty());
}

TEST_F(HistoryStoreTest, EndsAPageBeforeItBecomesTooLarge)
{
    open();
    Fault large = makeFault();
    large.args.assign(mostArguments, std::string(longestText, 'x'));
    for (int i = 0; i < 100; ++i)
    {
        add(makeRecord(Kind::appeared, i, large));
    }
    const auto page = store->read({.limit = 100});
    EXPECT_LT(page.records.size(), 40U);
    EXPECT_EQ(page.next, page.records.size() + 1);
}

TEST_F(HistoryStoreTest, FiltersByAllThatAQueryNames)
{
    open();
    Fault other = makeFault("/com/vexa/olvar/health/fan/blade", "2");
    other.severity = 3;
    other.messageId = "FAN.1.0.Slow";
    add(makeRecord(Kind::appeared, 100));
    add(makeRecord(Kind::cleared, 200, other));
    add(makeRecord(Kind::hidden, 300,
                   makeFault("/com/vexa/olvar/health/fans")));
    EXPECT_THAT(numbers({.component = fan}), ElementsAre(1, 2));
    EXPECT_THAT(numbers({.component = other.component}), ElementsAre(2));
    EXPECT_THAT(numbers({.kinds = {Kind::appeared, Kind::hidden}}),
                ElementsAre(1, 3));
    EXPECT_THAT(numbers({.severities = {3}}), ElementsAre(2));
    EXPECT_THAT(numbers({.messageId = "FAN.1.0.Slow"}), ElementsAre(2));
    EXPECT_THAT(numbers({.since = 200}), ElementsAre(2, 3));
    EXPECT_THAT(numbers({.until = 200}), ElementsAre(1));
    EXPECT_THAT(numbers({.component = fan, .severities = {3}, .since = 201}),
                IsEmpty());
}

TEST_F(HistoryStoreTest, TakesATextOfAQueryForNothingElse)
{
    open();
    add(makeRecord(Kind::appeared, 1));
    EXPECT_THAT(numbers({.component = "' OR 1 = 1 --"}), IsEmpty());
}

TEST_F(HistoryStoreTest, SetsADamagedDatabaseAsideAndGivesNoNumberTwice)
{
    open();
    const uint64_t last = add(makeRecord(Kind::appeared, 1));
    store->commit();
    store.reset();
    std::ofstream(file) << std::string(8192, 'x');
    open();
    EXPECT_EQ(store->records(), 0U);
    EXPECT_GT(add(makeRecord(Kind::appeared, 1)), last);
    EXPECT_TRUE(fs::exists(place / "history.db.damaged"));
}

TEST_F(HistoryStoreTest, LeavesADatabaseOfALaterLayoutAlone)
{
    open();
    add(makeRecord(Kind::appeared, 1));
    store->commit();
    store.reset();
    Database(file).run("ALTER TABLE records ADD COLUMN later TEXT;"
                       "PRAGMA user_version = 2");
    const std::string before = test::readContent(file);
    try
    {
        open();
        ADD_FAILURE() << "it was opened";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_EQ(e.what(), "the history " + file.string() +
                                " is left alone: it is of version 2 and this "
                                "program needs version 1");
    }
    EXPECT_EQ(test::readContent(file), before);
    Database(file).run("ALTER TABLE records DROP COLUMN later;"
                       "PRAGMA user_version = 1");
    open();
    EXPECT_THAT(numbers(), ElementsAre(1));
}

TEST_F(HistoryStoreTest, NoticesThatItsFileWasRemoved)
{
    open();
    EXPECT_TRUE(store->isInPlace());
    fs::remove(file);
    EXPECT_FALSE(store->isInPlace());
}

TEST_F(HistoryStoreTest, KnowsWhatItHasRecordedAfterAClear)
{
    open();
    const Record silenced = makeRecord(Kind::silenced, 5);
    add(silenced);
    const Record acknowledged = makeRecord(Kind::acknowledged, 5);
    add(acknowledged);
    store->clear();
    store->commit();
    open();
    EXPECT_TRUE(store->has(silenced));
    EXPECT_TRUE(store->has(acknowledged));
    EXPECT_FALSE(store->has(makeRecord(Kind::silenced, 6)));
}

TEST_F(HistoryStoreTest, RemembersTheNewestThatItHasRecorded)
{
    open({.records = 10});
    for (int64_t time = 0; time <= 4096; ++time)
    {
        add(makeRecord(Kind::silenced, time));
    }
    EXPECT_FALSE(store->has(makeRecord(Kind::silenced, 0)));
    EXPECT_TRUE(store->has(makeRecord(Kind::silenced, 1)));
    EXPECT_TRUE(store->has(makeRecord(Kind::silenced, 4096)));
}

TEST_F(HistoryStoreTest, KnowsWhatAnEarlierVersionHasRecorded)
{
    open();
    const Record silenced = makeRecord(Kind::silenced, 5);
    add(silenced);
    store->commit();
    store.reset();
    Database(file).run("DROP TABLE recorded_operations");
    open();
    EXPECT_TRUE(store->has(silenced));
}

TEST_F(HistoryStoreTest, KnowsWhetherItHasTheSame)
{
    open();
    Record record = makeRecord(Kind::acknowledged, 5);
    record.comment = "seen";
    EXPECT_FALSE(store->has(record));
    add(record);
    EXPECT_TRUE(store->has(record));
    const auto hasOther = [&](auto&& change) {
        Record other = record;
        change(other);
        return store->has(other);
    };
    EXPECT_FALSE(hasOther([](Record& r) {
        r.kind = Kind::silenced;
    }));
    EXPECT_FALSE(hasOther([](Record& r) {
        r.time = 6;
    }));
    EXPECT_FALSE(hasOther([](Record& r) {
        r.fault.entry = "other";
    }));
    EXPECT_FALSE(hasOther([](Record& r) {
        r.comment = "other";
    }));
}

} // namespace
} // namespace healthintf::history
