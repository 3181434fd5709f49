// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "child_identity.hpp"
#include "data_cache/record_table.hpp"
#include "data_cache/withdrawal.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <csignal>
#include <filesystem>
#include <map>
#include <set>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;
using test::receiveIdentity;

class WithdrawalTest : public test::CacheTest
{
  protected:
    /** A running process that has published two nodes and a fault. */
    static Child daemon(const std::string& key)
    {
        return Child([key](const Child::Parent& parent) {
            datacache_healthstatus_create(key, {{"HealthStatus", 3u}});
            datacache_healthstatus_create(key + "/sub", {{"HealthStatus", 2u}});
            datacache_faultentry_create(key + "/entry/1", {});
            test::sendIdentity(parent);
            Child::Parent::waitForever();
            return 0;
        });
    }

    /** The paths of all records of a kind. */
    static std::vector<std::string> paths(RecordKind kind)
    {
        std::map<std::string, uint32_t> found;
        readRecordsInto(found, RecordQuery::below(kind, {}),
                        [](const ReadRecord& record, const ProcessIdentity&) {
                            return record.live;
                        });
        std::vector<std::string> all;
        for (const auto& [path, live] : found)
        {
            all.push_back(path);
        }
        return all;
    }

    /** The number of files in the data cache's folder. */
    std::ptrdiff_t files() const
    {
        return std::distance(std::filesystem::directory_iterator(cacheFolder()),
                             std::filesystem::directory_iterator());
    }
};

using Keys = std::vector<std::string>;

TEST_F(WithdrawalTest, FindsOnlyTheNodesOfADeadProcess)
{
    Child living = daemon("/a");
    receiveIdentity(living);
    Child dead = daemon("/b");
    const ProcessIdentity owner = receiveIdentity(dead);
    dead.kill();
    EXPECT_EQ(inChild([&] {
                  Withdrawal withdrawal;
                  const auto left = withdrawal.removeTheDead().value();
                  std::set<std::string> keys;
                  for (const LeftNode& node : left)
                  {
                      keys.insert(node.owner == owner ? node.key : "not its");
                  }
                  return left.size() == 2 &&
                                 keys ==
                                     std::set<std::string>{"/b", "/b/sub"} &&
                                 withdrawal.removeTheDead()->empty()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(WithdrawalTest, KeepsTheNodesOfADeadProcessUntilTheyWereAnnounced)
{
    Child dead = daemon("/b");
    receiveIdentity(dead);
    dead.kill();
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(inChild([] {
                      Withdrawal withdrawal;
                      return withdrawal.removeTheDead()->size() == 2 &&
                                     withdrawal.removeTheDead()->empty()
                                 ? 0
                                 : 1;
                  }),
                  0)
            << "a process that ended before it announced them is not the last";
        EXPECT_EQ(files(), 1);
    }
    EXPECT_EQ(inChild([] {
                  Withdrawal withdrawal;
                  withdrawal.noteAnnounced(withdrawal.removeTheDead().value());
                  return withdrawal.removeTheDead()->empty() ? 0 : 1;
              }),
              0);
    EXPECT_EQ(files(), 0);
}

TEST_F(WithdrawalTest, KeepsTheNodesOfTheNextDeadProcessForItsAnnouncement)
{
    Child first = daemon("/a");
    receiveIdentity(first);
    Child second = daemon("/b");
    receiveIdentity(second);
    first.kill();
    EXPECT_EQ(inChild([&second] {
                  Withdrawal withdrawal;
                  const auto earlier = withdrawal.removeTheDead().value();
                  kill(second.pid(), SIGKILL);
                  std::size_t later = 0;
                  while (later == 0)
                  {
                      later = withdrawal.removeTheDead()->size();
                  }
                  withdrawal.noteAnnounced(earlier);
                  withdrawal.removeTheDead();
                  return later == 2 ? 0 : 1;
              }),
              0);
    EXPECT_EQ(files(), 1);
}

TEST_F(WithdrawalTest, RemovesAFileWithoutNodesAtOnce)
{
    Child dead([](const Child::Parent& parent) {
        datacache_faultentry_create("/b/entry/1", {});
        test::sendIdentity(parent);
        Child::Parent::waitForever();
        return 0;
    });
    receiveIdentity(dead);
    dead.kill();
    EXPECT_EQ(inChild([] {
                  return Withdrawal().removeTheDead()->empty() ? 0 : 1;
              }),
              0);
    EXPECT_EQ(files(), 0);
}

TEST_F(WithdrawalTest, IsNotNeededForRecordsToBeGone)
{
    Child living = daemon("/a");
    receiveIdentity(living);
    Child dead = daemon("/b");
    receiveIdentity(dead);
    dead.kill();
    EXPECT_EQ(inChild([] {
                  return paths(RecordKind::healthStatus) ==
                                     Keys{"/a", "/a/sub"} &&
                                 paths(RecordKind::faultEntry) ==
                                     Keys{"/a/entry/1"} &&
                                 !findHealthRecord("/b")
                             ? 0
                             : 1;
              }),
              0);
    EXPECT_EQ(files(), 2);
}

TEST_F(WithdrawalTest, LeavesAKeyThatAnotherProcessTookOver)
{
    Child dead = daemon("/a");
    receiveIdentity(dead);
    Child successor([](const Child::Parent& parent) {
        datacache_healthstatus_create("/a", {{"HealthStatus", 4u}});
        parent.tell("there");
        Child::Parent::waitForever();
        return 0;
    });
    successor.hear();
    dead.kill();
    EXPECT_EQ(inChild([] {
                  Withdrawal withdrawal;
                  const bool left = withdrawal.removeTheDead()->size() == 2;
                  const auto record = findHealthRecord("/a");
                  return left && record && record->health == 4 ? 0 : 1;
              }),
              0);
}

TEST_F(WithdrawalTest, LogsOnceWhatItCannotRemove)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to become another user";
    }
    Child dead = daemon("/b");
    receiveIdentity(dead);
    dead.kill();
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    EXPECT_EQ(inChild([] {
                  test::leaveRoot();
                  Withdrawal withdrawal;
                  const auto found = withdrawal.removeTheDead().value();
                  withdrawal.noteAnnounced(found);
                  return found.size() == 2 &&
                                 withdrawal.removeTheDead()->empty()
                             ? 0
                             : 1;
              }),
              0);
    EXPECT_EQ(files(), 1);
}

TEST_F(WithdrawalTest, HasNothingToRemoveWithoutADataCache)
{
    EXPECT_EQ(inChild([this] {
                  return Withdrawal().removeTheDead()->empty() &&
                                 !std::filesystem::exists(cacheFolder())
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(WithdrawalTest, ReportsThatTheDataCacheCannotBeRead)
{
    folder.write("datacache", "no folder");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      return Withdrawal().removeTheDead() ? 1 : 0;
                  },
                  &errors),
              0);
    EXPECT_NE(errors.find("data cache"), std::string::npos);
}

TEST_F(WithdrawalTest, LetsTheRecordsOfDaemonsCount)
{
    Child daemons = daemon("/a");
    const ProcessIdentity owner = receiveIdentity(daemons);
    EXPECT_EQ(inChild([&owner] {
                  giveWayToOthers();
                  datacache_healthstatus_create("/a", {{"HealthStatus", 1u}});
                  datacache_healthstatus_create("/c", {{"HealthStatus", 1u}});
                  const auto theirs = findHealthRecord("/a");
                  const auto own = findHealthRecord("/c");
                  return theirs && theirs->owner == owner &&
                                 theirs->health == 3 && own &&
                                 own->owner == ProcessIdentity::self()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(WithdrawalTest, GivesWayWithExistingRecordsToo)
{
    Child daemons = daemon("/a");
    receiveIdentity(daemons);
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/a", {{"HealthStatus", 1u}});
                  const bool before = findHealthRecord("/a")->health == 1;
                  giveWayToOthers();
                  return before && findHealthRecord("/a")->health == 3 ? 0 : 1;
              }),
              0);
}

TEST_F(WithdrawalTest, FindsAHealthRecordByItsWholeKey)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/a/b", {{"HealthStatus", 3u}});
                  const auto found = findHealthRecord("/a/b");
                  return !findHealthRecord("/a") &&
                                 !findHealthRecord("/a/b/c") && found &&
                                 found->health == 3 &&
                                 found->owner == ProcessIdentity::self()
                             ? 0
                             : 1;
              }),
              0);
}

} // namespace
} // namespace healthintf::host
