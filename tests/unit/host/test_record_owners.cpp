#include "cache_test.hpp"
#include "data_cache/record_owners.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;

class RecordOwnersTest : public test::CacheTest
{
  protected:
    /** A process with a node and a fault, that lives. */
    static Child daemon(const std::string& key)
    {
        return Child([key](const Child::Parent& parent) {
            datacache_healthstatus_create(key, {{"HealthStatus", 3u}});
            datacache_faultentry_create(key + "/entry/1", {});
            parent.tell("ready");
            Child::Parent::waitForever();
            return 0;
        });
    }
};

TEST_F(RecordOwnersTest, AreThoseOfNodesAndOfEntries)
{
    Child first = daemon("/a");
    Child second = daemon("/b");
    first.hear();
    second.hear();
    const auto one = ProcessIdentity::of(first.pid());
    const auto other = ProcessIdentity::of(second.pid());
    EXPECT_EQ(inChild([&] {
                  RecordOwners nodes{{"/old", {1, 1}}};
                  RecordOwners entries{{"/old", {1, 1}}};
                  const RecordOwners bothNodes{{"/a", one}, {"/b", other}};
                  const RecordOwners bothEntries{{"/a/entry/1", one},
                                                 {"/b/entry/1", other}};
                  return listNodeOwners(nodes) == 0 &&
                                 listEntryOwners(entries) == 0 &&
                                 nodes == bothNodes && entries == bothEntries
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordOwnersTest, AreNoneWithoutRecords)
{
    EXPECT_EQ(inChild([] {
                  RecordOwners owners{{"/old", {1, 1}}};
                  return listEntryOwners(owners) == 0 && owners.empty() ? 0 : 1;
              }),
              0);
}

} // namespace
} // namespace healthintf::host
