// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "child_identity.hpp"
#include "data_cache/record_owners.hpp"
#include "data_cache/withdrawal.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;

class RecordOwnersTest : public test::CacheTest
{
  protected:
    /** A running process that owns a node and a fault. */
    static Child daemon(const std::string& key)
    {
        return Child([key](const Child::Parent& parent) {
            datacache_healthstatus_create(key, {{"HealthStatus", 3u}});
            datacache_faultentry_create(key + "/entry/1", {});
            test::sendIdentity(parent);
            Child::Parent::waitForever();
            return 0;
        });
    }

    /** A process that runs @p work and then waits. */
    static std::unique_ptr<Child> living(const std::function<void()>& work)
    {
        auto made =
            std::make_unique<Child>([work](const Child::Parent& parent) {
                work();
                parent.tell("ready");
                Child::Parent::waitForever();
                return 0;
            });
        made->hear();
        return made;
    }

    static std::unique_ptr<Child> makeNodes(std::size_t count)
    {
        return living([count] {
            for (std::size_t i = 0; i < count; ++i)
            {
                datacache_healthstatus_create("/" + std::to_string(i), {});
            }
        });
    }
};

TEST_F(RecordOwnersTest, AreFoundForNodes)
{
    Child first = daemon("/a");
    Child second = daemon("/b");
    const ProcessIdentity one = test::receiveIdentity(first);
    const ProcessIdentity other = test::receiveIdentity(second);
    EXPECT_EQ(inChild([&] {
                  RecordOwners nodes{{"/old", {1, 1}}};
                  const RecordOwners both{{"/a", one}, {"/b", other}};
                  return listNodeOwners(nodes) == 0 && nodes == both ? 0 : 1;
              }),
              0);
}

TEST_F(RecordOwnersTest, AreNoneWithoutRecords)
{
    EXPECT_EQ(inChild([] {
                  RecordOwners owners{{"/old", {1, 1}}};
                  return listNodeOwners(owners) == 0 && owners.empty() ? 0 : 1;
              }),
              0);
}

TEST_F(RecordOwnersTest, AreAllNamedWhenTheyShareAKey)
{
    Child first = daemon("/a");
    Child second = daemon("/a");
    Child other = daemon("/b");
    other.hear();
    std::vector<ProcessIdentity> both{test::receiveIdentity(first),
                                      test::receiveIdentity(second)};
    std::ranges::sort(both);
    EXPECT_EQ(inChild([&] {
                  ClaimedKeys claimed{.count = 7, .keys = {{}, {}}};
                  if (listClaimedKeys(claimed) != 0 || claimed.count != 1 ||
                      claimed.keys.size() != 1 || claimed.keys[0].key != "/a" ||
                      claimed.keys[0].claimants.size() != 2)
                  {
                      return 1;
                  }
                  std::vector<ProcessIdentity> found;
                  for (const Claimant& each : claimed.keys[0].claimants)
                  {
                      if (each.user != geteuid())
                      {
                          return 2;
                      }
                      found.push_back(each.process);
                  }
                  std::ranges::sort(found);
                  return found == both ? 0 : 3;
              }),
              0);
    second.kill();
    EXPECT_EQ(inChild([] {
                  ClaimedKeys claimed;
                  return listClaimedKeys(claimed) == 0 && claimed.count == 0 &&
                                 claimed.keys.empty()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordOwnersTest, ClaimNoKeyByAPlaceholder)
{
    Child real = daemon("/a");
    real.hear();
    const auto placeholder = living([] {
        giveWayToOthers();
        datacache_healthstatus_create("/a", {});
    });
    EXPECT_EQ(inChild([] {
                  ClaimedKeys claimed;
                  return listClaimedKeys(claimed) == 0 && claimed.count == 0
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordOwnersTest, AreListedForAHundredKeys)
{
    for (const std::size_t count :
         {ClaimedKeys::mostKeys, ClaimedKeys::mostKeys + 1})
    {
        const auto first = makeNodes(count);
        const auto second = makeNodes(count);
        EXPECT_EQ(inChild([count] {
                      ClaimedKeys claimed;
                      return listClaimedKeys(claimed) == 0 &&
                                     claimed.count == count &&
                                     claimed.keys.size() ==
                                         ClaimedKeys::mostKeys
                                 ? 0
                                 : 1;
                  }),
                  0)
            << count;
        first->kill();
        second->kill();
    }
}

TEST_F(RecordOwnersTest, AreListedForEightProcessesOfAKey)
{
    std::vector<std::unique_ptr<Child>> processes;
    for (std::size_t count = 1; count <= ClaimedKeys::mostClaimants + 1;
         ++count)
    {
        processes.push_back(makeNodes(1));
        const std::size_t expected =
            std::min(count, ClaimedKeys::mostClaimants);
        EXPECT_EQ(inChild([count, expected] {
                      ClaimedKeys claimed;
                      if (listClaimedKeys(claimed) != 0)
                      {
                          return 1;
                      }
                      if (count == 1)
                      {
                          return claimed.count == 0 ? 0 : 2;
                      }
                      return claimed.count == 1 &&
                                     claimed.keys[0].claimants.size() ==
                                         expected
                                 ? 0
                                 : 3;
                  }),
                  0)
            << count;
    }
}

} // namespace
} // namespace healthintf::host
