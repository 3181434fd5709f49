// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "logmgr/history/fault_follower.hpp"
#include "sample_records.hpp"
#include "temporary_folder.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::history
{
namespace
{

using std::chrono::seconds;
using test::Child;
using testing::ElementsAre;
using testing::IsEmpty;

/** A process has one data cache in its life, so all tests share it. */
const test::TemporaryFolder& cacheFolder()
{
    static const test::TemporaryFolder folder;
    setenv("HEALTHINTF_RUNTIME_DIR", folder.path().c_str(), 1);
    return folder;
}

class FaultFollowerTest : public testing::Test
{
  protected:
    FaultFollowerTest()
    {
        cacheFolder();
        datacache_healthstatus_create(fan, {});
    }

    ~FaultFollowerTest() override
    {
        for (const std::string& entry : made)
        {
            datacache_faultentry_remove(entry);
        }
        datacache_healthstatus_remove(fan);
    }

    /** Begins to follow, or takes up what the history has. */
    void start()
    {
        follower.reset();
        if (store)
        {
            writer->commit();
        }
        writer.reset();
        store.reset();
        store = std::make_unique<HistoryStore>(folder.path(), HistoryLimits{});
        writer.emplace(*store);
        cache.refresh();
        follower.emplace(*writer, store->followed(), cache, now);
    }

    std::string makeEntry(const std::string& number)
    {
        const std::string entry = makeFault(fan, number).entry;
        datacache_faultentry_create(entry, {{"MessageID", std::string("A.B")},
                                            {"Severity", uint32_t{4}}});
        made.push_back(entry);
        return entry;
    }

    /** A process of its own that has a fault until it is killed. */
    static std::unique_ptr<Child> startReporter(const std::string& key)
    {
        auto child =
            std::make_unique<Child>([key](const Child::Parent& parent) {
                datacache_healthstatus_create(key, {});
                datacache_faultentry_create(makeFault(key).entry,
                                            {{"Severity", uint32_t{4}}});
                parent.tell("ready");
                Child::Parent::waitForever();
                return 0;
            });
        child->hear();
        return child;
    }

    void add(const std::string& number)
    {
        follower->takeAdded(me, makeFault(fan, number), now);
    }

    void remove(const std::string& number)
    {
        follower->takeRemoved(me, makeFault(fan, number).entry, now);
    }

    /** Compares as often as a fault that is missing is waited for. */
    void settle()
    {
        follower->compare(now);
        follower->compare(now);
    }

    /** The kinds of the records since the last call. */
    std::vector<Kind> kinds()
    {
        last = writer->commit();
        std::vector<Kind> found;
        for (const Record& record : last)
        {
            found.push_back(record.kind);
        }
        return found;
    }

    void pass(seconds time)
    {
        now.wall += 1000 * time.count();
        now.steady += time;
    }

    test::TemporaryFolder folder;
    std::unique_ptr<HistoryStore> store;
    std::optional<HistoryWriter> writer;
    host::OpenFaults cache;
    std::optional<FaultFollower> follower;
    std::vector<std::string> made;
    std::vector<Record> last;
    Now now = Now::read();
    const Sender me{.user = getuid(), .pid = static_cast<uint32_t>(getpid())};
    const Sender stranger{.user = getuid() + 1, .pid = 1};
};

TEST_F(FaultFollowerTest, RecordsWhatTheSignalsTell)
{
    start();
    add("1");
    pass(seconds(3));
    remove("1");
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared, Kind::cleared));
    EXPECT_EQ(last[0].fault.pid, static_cast<uint32_t>(getpid()));
    EXPECT_EQ(last[1].lasted, 3000);
    EXPECT_FALSE(last[1].missed);
}

TEST_F(FaultFollowerTest, MeasuresByAClockThatIsNotSet)
{
    start();
    add("1");
    now.wall -= 1'000'000;
    now.steady += seconds(2);
    remove("1");
    kinds();
    EXPECT_EQ(last[1].lasted, 2000);
}

TEST_F(FaultFollowerTest, IgnoresSignalsOfAUserWithoutTheComponent)
{
    start();
    follower->takeAdded(stranger, makeFault(), now);
    EXPECT_THAT(kinds(), IsEmpty());
    add("1");
    follower->takeRemoved(stranger, makeFault().entry, now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
}

TEST_F(FaultFollowerTest, NamesTheSenderWhoseNodeAnotherProcessHasTakenOver)
{
    const std::string left = std::string(fan) + "/left";
    datacache_healthstatus_create(left, {});
    datacache_healthstatus_remove(fan);
    const auto successor = startReporter(fan);
    start();
    kinds();
    add("9");
    datacache_healthstatus_remove(left);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
    EXPECT_EQ(last.front().fault.pid, static_cast<uint32_t>(getpid()));
}

TEST_F(FaultFollowerTest, NamesNoSuccessorAsTheSenderThatHasEnded)
{
    start();
    const Sender ended{.user = getuid(), .pid = 4'000'000'000};
    follower->takeAdded(ended, makeFault(fan, "9"), now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
    EXPECT_EQ(last.front().fault.pid, ended.pid);
    EXPECT_EQ(last.front().fault.process, "");
}

TEST_F(FaultFollowerTest, FindsASenderWithAnotherIdByItsFault)
{
    start();
    makeEntry("9");
    const Sender contained{.user = getuid(), .pid = 4'000'000'000};
    follower->takeAdded(contained, makeFault(fan, "9"), now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
    EXPECT_EQ(last.front().fault.pid, static_cast<uint32_t>(getpid()));
}

TEST_F(FaultFollowerTest, RecordsAFaultOnceThatIsTwiceAnnouncedAndThenSeen)
{
    start();
    makeEntry("1");
    add("1");
    add("1");
    follower->compare(now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
}

TEST_F(FaultFollowerTest, SeesAFaultThatWasNotAnnounced)
{
    start();
    makeEntry("1");
    follower->compare(now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
    EXPECT_EQ(last.front().fault.messageId, "A.B");
    EXPECT_FALSE(last.front().missed);
}

TEST_F(FaultFollowerTest, GivesTheSignalOfARemovalTimeToCome)
{
    start();
    const std::string entry = makeEntry("1");
    follower->compare(now);
    datacache_faultentry_remove(entry);
    follower->compare(now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
    follower->compare(now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::cleared));
}

TEST_F(FaultFollowerTest,
       RecordsAFaultOnceWhoseRemovalIsAnnouncedBeforeItIsGone)
{
    start();
    makeEntry("1");
    follower->compare(now);
    remove("1");
    follower->compare(now);
    datacache_faultentry_remove(makeFault(fan, "1").entry);
    settle();
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared, Kind::cleared));
}

TEST_F(FaultFollowerTest,
       RecordsAgainAFaultThatStaysAfterItsRemovalWasAnnounced)
{
    start();
    makeEntry("1");
    follower->compare(now);
    remove("1");
    settle();
    EXPECT_THAT(kinds(),
                ElementsAre(Kind::appeared, Kind::cleared, Kind::appeared));
}

TEST_F(FaultFollowerTest, TellsAFaultThatGaveWayFromOneThatWasRemoved)
{
    start();
    const std::string digits = "0123456789A";
    for (const char digit : digits)
    {
        add(std::string(1, digit));
    }
    kinds();
    remove("3");
    remove("4");
    EXPECT_THAT(kinds(), ElementsAre(Kind::gaveWay, Kind::cleared));
}

TEST_F(FaultFollowerTest, RecordsHidingAndShowing)
{
    start();
    const std::string entry = makeEntry("1");
    follower->compare(now);
    datacache_faultentry_set_property(entry, "Hidden", true);
    follower->compare(now);
    follower->compare(now);
    datacache_faultentry_set_property(entry, "Hidden", false);
    follower->compare(now);
    EXPECT_THAT(kinds(),
                ElementsAre(Kind::appeared, Kind::hidden, Kind::shown));
}

TEST_F(FaultFollowerTest, TellsThatAFaultEndedWithItsProcess)
{
    const std::string key = fan + "/blade";
    auto reporter = startReporter(key);
    start();
    kinds();
    reporter->kill();
    settle();
    EXPECT_THAT(kinds(), ElementsAre(Kind::withdrawn));
    EXPECT_EQ(last.front().fault.component, key);
}

TEST_F(FaultFollowerTest, MarksWhatHappenedWhileNobodyListened)
{
    start();
    const std::string entry = makeEntry("1");
    follower->compare(now);
    kinds();
    datacache_faultentry_remove(entry);
    makeEntry("2");
    start();
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared, Kind::cleared));
    EXPECT_TRUE(last[0].missed);
    EXPECT_TRUE(last[1].missed);
    EXPECT_EQ(follower->size(), 1U);
}

TEST_F(FaultFollowerTest, TakesUpWhatLastsWithoutARecord)
{
    start();
    const std::string entry = makeEntry("1");
    follower->compare(now);
    kinds();
    start();
    EXPECT_THAT(kinds(), IsEmpty());
    ASSERT_NE(follower->find(entry), nullptr);
    EXPECT_EQ(follower->find(entry)->sequence, 1U);
    EXPECT_EQ(follower->find(fan + "/entry/none"), nullptr);
}

TEST_F(FaultFollowerTest, TellsWhoseComponentLostItsMonitorAndWhoHasItAgain)
{
    start();
    Fault lost = makeFault();
    lost.messageId = "HealthManager.1.0.MonitorLost";
    follower->takeAdded(me, lost, now);
    follower->takeRemoved(me, lost.entry, now);
    // This process has the component.
    EXPECT_THAT(kinds(), ElementsAre(Kind::monitorLost, Kind::monitorBack));
    follower->takeAdded(me, lost, now);
    datacache_healthstatus_remove(fan);
    follower->takeRemoved(me, lost.entry, now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::monitorLost, Kind::cleared));
}

TEST_F(FaultFollowerTest, IgnoresAnEntryWhosePathARecordCannotKeep)
{
    start();
    Fault fault = makeFault();
    fault.entry = fan + "/entry/";
    fault.entry.resize(longestText + 1, 'A');
    follower->takeAdded(me, fault, now);
    follower->takeAdded(me, fault, now);
    EXPECT_THAT(kinds(), IsEmpty());
    EXPECT_EQ(follower->size(), 0U);
    fault.entry.pop_back();
    follower->takeAdded(me, fault, now);
    EXPECT_THAT(kinds(), ElementsAre(Kind::appeared));
}

TEST_F(FaultFollowerTest, ForgetsAtItsStartWhatHasNoPlaceOfItsOwn)
{
    start();
    FollowedFault lasting;
    lasting.appeared = makeRecord(Kind::appeared, 1);
    for (int i = 0; i < 3; ++i)
    {
        writer->addAppearance(lasting);
    }
    start();
    EXPECT_THAT(kinds(), ElementsAre(Kind::withdrawn));
    EXPECT_EQ(follower->size(), 0U);
    EXPECT_THAT(store->followed(), IsEmpty());
}

TEST_F(FaultFollowerTest, FollowsOnlySoManyFaultsOfAUser)
{
    start();
    for (std::size_t i = 0; i < FaultFollower::mostOfUser; ++i)
    {
        Fault fault = makeFault();
        fault.entry = fan + "/entry/" + std::to_string(i);
        follower->takeAdded(me, fault, now);
    }
    EXPECT_EQ(follower->size(), FaultFollower::mostOfUser);
    add("1");
    EXPECT_EQ(follower->size(), FaultFollower::mostOfUser);
    follower->takeRemoved(me, fan + "/entry/0", now);
    add("1");
    EXPECT_EQ(follower->size(), FaultFollower::mostOfUser);
    EXPECT_NE(follower->find(makeFault().entry), nullptr);
}

TEST_F(FaultFollowerTest, FollowsAQuarterOfTheHistoryOfAUser)
{
    start();
    Fault large = makeFault();
    large.args.assign(mostArguments, std::string(longestText, 'x'));
    for (int i = 0; i < 300; ++i)
    {
        large.entry = fan + "/entry/" + std::to_string(i);
        follower->takeAdded(me, large, now);
    }
    EXPECT_GT(follower->size(), 100U);
    EXPECT_LT(follower->size(), 150U);
    EXPECT_EQ(store->records(), follower->size());
    follower->takeRemoved(me, fan + "/entry/0", now);
    add("1");
    EXPECT_NE(follower->find(makeFault().entry), nullptr);
}

} // namespace
} // namespace healthintf::history
