// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "library_test.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/record_holders.hpp>

#include <unistd.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace healthintf::binding
{
namespace
{

using namespace healthintf::test;

const std::string path = "/a";

class HoldersOfARecord : public LibraryTest
{
  protected:
    int create(const void* holder, uint32_t health)
    {
        return holders.create(holder, path, {{"HealthStatus", health}});
    }

    int set(const void* holder, uint32_t health)
    {
        return holders.setProperty(holder, path, "HealthStatus", health);
    }

    static uint32_t recorded()
    {
        return std::get<uint32_t>(
            platform().healthRecords.at(path).at("HealthStatus"));
    }

    RecordHolders holders;
    const int oldest = 0;
    const int middle = 0;
    const int youngest = 0;
};

TEST_F(HoldersOfARecord, PassTheRemovalOnWhereNoObjectHoldsIt)
{
    journal().answer("datacache_healthstatus_remove", 7);
    EXPECT_EQ(holders.remove(&oldest, path), 7);
    EXPECT_EQ(journal().take(), Lines{"datacache_healthstatus_remove /a"});
    EXPECT_EQ(holders.healthWithout(&oldest, path), 0U);
}

TEST_F(HoldersOfARecord, PassEachCallOnForOneObject)
{
    journal().answer("datacache_healthstatus_create", 5);
    EXPECT_EQ(create(&oldest, 2), 5);
    EXPECT_EQ(set(&oldest, 3), 0);
    journal().answer("datacache_healthstatus_set_property", 6);
    EXPECT_EQ(set(&oldest, 4), 6);
    EXPECT_EQ(holders.healthWithout(&oldest, path), 0U);
    journal().answer("datacache_healthstatus_remove", 7);
    EXPECT_EQ(holders.remove(&oldest, path), 7);
    EXPECT_EQ(journal().take(),
              (Lines{"datacache_healthstatus_create /a {HealthStatus=2}",
                     "datacache_healthstatus_set_property /a HealthStatus=3",
                     "datacache_healthstatus_set_property /a HealthStatus=4",
                     "datacache_healthstatus_remove /a"}));
}

TEST_F(HoldersOfARecord, LetTheYoungestCountInWhateverOrderTheyEnd)
{
    create(&oldest, 1);
    create(&middle, 2);
    create(&youngest, 3);
    EXPECT_EQ(set(&middle, 4), 0);
    EXPECT_EQ(recorded(), 3U);
    EXPECT_EQ(holders.healthWithout(&youngest, path), 4U);
    EXPECT_EQ(holders.healthWithout(&middle, path), 3U);
    holders.remove(&oldest, path);
    EXPECT_EQ(recorded(), 3U);
    holders.remove(&youngest, path);
    EXPECT_EQ(recorded(), 4U);
    set(&middle, 2);
    EXPECT_EQ(recorded(), 2U);
    holders.remove(&middle, path);
    EXPECT_TRUE(platform().healthRecords.empty());
}

TEST_F(HoldersOfARecord, DoNotHoldARecordThatCouldNotBeMade)
{
    create(&oldest, 1);
    journal().fail("datacache_healthstatus_create", [] {
        throw std::runtime_error("no room");
    });
    EXPECT_THROW(create(&youngest, 3), std::runtime_error);
    set(&oldest, 2);
    EXPECT_EQ(recorded(), 2U);
}

/** The alarm that ends a child that would wait for ever, in seconds. */
constexpr unsigned longestChild = 10;

TEST_F(HoldersOfARecord, AreFreeInAChildOfAProcessThatChangesOne)
{
    std::promise<void> changing;
    std::promise<void> forked;
    journal().fail("datacache_healthstatus_set_property", [&] {
        changing.set_value();
        forked.get_future().wait();
    });
    std::thread changer([this] {
        auto& ofThisProcess = RecordHolders::ofThisProcess();
        ofThisProcess.create(&oldest, path, {{"HealthStatus", uint32_t{1}}});
        ofThisProcess.setProperty(&oldest, path, "HealthStatus", uint32_t{2});
        ofThisProcess.remove(&oldest, path);
    });
    changing.get_future().wait();
    EXPECT_EQ(inChild([this] {
                  alarm(longestChild);
                  return RecordHolders::ofThisProcess().create(
                      &youngest, path, {{"HealthStatus", uint32_t{3}}});
              }),
              0);
    forked.set_value();
    changer.join();
}

TEST_F(HoldersOfARecord, DoNotIncludeTheParentsInAChild)
{
    auto& parents = RecordHolders::ofThisProcess();
    parents.create(&oldest, path, {{"HealthStatus", uint32_t{2}}});
    EXPECT_EQ(inChild([this] {
                  auto& own = RecordHolders::ofThisProcess();
                  own.create(&youngest, path, {{"HealthStatus", uint32_t{3}}});
                  const bool hadOthers =
                      own.healthWithout(&youngest, path) != 0;
                  own.remove(&youngest, path);
                  return !hadOthers && platform().healthRecords.empty() ? 0 : 1;
              }),
              0)
        << "the child process counts its parent's nodes";
    EXPECT_EQ(parents.healthWithout(&youngest, path), 2U);
    parents.remove(&oldest, path);
}

} // namespace
} // namespace healthintf::binding
