#include "cache_test.hpp"
#include "data_cache/record_table.hpp"
#include "data_cache/withdrawal.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;

class Withdrawal : public test::CacheTest
{
  protected:
    /** A process that publishes two nodes and a fault, and lives. */
    static Child daemon(const std::string& key)
    {
        return Child([key](const Child::Parent& parent) {
            datacache_healthstatus_create(key, {{"HealthStatus", 3u}});
            datacache_healthstatus_create(key + "/sub", {{"HealthStatus", 2u}});
            datacache_faultentry_create(key + "/entry/1", {});
            const ProcessIdentity self = ProcessIdentity::self();
            parent.tell(std::to_string(self.pid));
            parent.tell(std::to_string(self.startTime));
            Child::Parent::waitForever();
            return 0;
        });
    }

    static ProcessIdentity identityOf(Child& daemon)
    {
        const auto pid = static_cast<uint32_t>(std::stoul(daemon.hear()));
        return {pid, std::stoull(daemon.hear())};
    }

    static std::size_t count(RecordKind kind)
    {
        std::size_t found = 0;
        readRecords(kind, {}, [&](std::string_view, const StoredRecord&) {
            ++found;
        });
        return found;
    }
};

using Keys = std::vector<std::string>;

TEST_F(Withdrawal, KnowsTheOwnersOfHealthRecords)
{
    Child first = daemon("/a");
    Child second = daemon("/b");
    const std::set<ProcessIdentity> expected{identityOf(first),
                                             identityOf(second)};
    EXPECT_EQ(inChild([&expected] {
                  std::set<ProcessIdentity> owners{{1, 1}};
                  return listOwners(owners) == 0 && owners == expected ? 0 : 1;
              }),
              0);
}

TEST_F(Withdrawal, KnowsWhoHasNothingButFaults)
{
    Child first = daemon("/a");
    const ProcessIdentity owner = identityOf(first);
    EXPECT_EQ(inChild([&owner] {
                  datacache_healthstatus_create("/a", {});
                  datacache_healthstatus_create("/a/sub", {});
                  std::set<ProcessIdentity> owners;
                  return listOwners(owners) == 0 && owners.contains(owner) ? 0
                                                                           : 1;
              }),
              0);
}

TEST_F(Withdrawal, KnowsNoOwnersOfNoRecords)
{
    EXPECT_EQ(inChild([] {
                  std::set<ProcessIdentity> owners{{1, 1}};
                  return listOwners(owners) == 0 && owners.empty() ? 0 : 1;
              }),
              0);
}

TEST_F(Withdrawal, RemovesWhatADeadProcessLeftAndNothingElse)
{
    Child living = daemon("/a");
    identityOf(living);
    Child dead = daemon("/b");
    const ProcessIdentity owner = identityOf(dead);
    dead.kill();
    EXPECT_EQ(inChild([&owner] {
                  Keys keys{"before"};
                  return withdrawRecords(owner, keys) == 0 &&
                                 keys == Keys{"/b", "/b/sub"} &&
                                 count(RecordKind::healthStatus) == 2 &&
                                 count(RecordKind::faultEntry) == 1
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(Withdrawal, LeavesAKeyThatAnotherTookOver)
{
    Child dead = daemon("/a");
    const ProcessIdentity owner = identityOf(dead);
    Child successor([](const Child::Parent& parent) {
        datacache_healthstatus_create("/a", {{"HealthStatus", 4u}});
        parent.tell("there");
        Child::Parent::waitForever();
        return 0;
    });
    successor.hear();
    dead.kill();
    EXPECT_EQ(inChild([&owner] {
                  Keys keys;
                  withdrawRecords(owner, keys);
                  const auto record = findHealthRecord("/a");
                  return keys == Keys{"/a/sub"} && record && record->health == 4
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(Withdrawal, HasNothingToRemoveOfAStranger)
{
    EXPECT_EQ(
        inChild([] {
            Keys keys{"before"};
            return withdrawRecords({1, 1}, keys) == 0 && keys.empty() ? 0 : 1;
        }),
        0);
}

TEST_F(Withdrawal, FindsAHealthRecordByItsWholeKey)
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
