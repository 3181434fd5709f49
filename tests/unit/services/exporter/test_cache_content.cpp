// SPDX-License-Identifier: Apache-2.0
#include "cache_content.hpp"
#include "cache_test.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

namespace healthintf::exporter
{
namespace
{

using test::inChild;

class CacheContentTest : public test::CacheTest
{
  protected:
    static void put(const std::string& path, uint32_t severity, bool hidden)
    {
        datacache_faultentry_create(
            path, {{"Severity", severity}, {"Hidden", hidden}});
    }
};

TEST_F(CacheContentTest, IsEmptyInANewCache)
{
    EXPECT_EQ(inChild([] {
                  const auto content = readCacheContent();
                  return content && content->health.empty() &&
                                 content->faults.empty() &&
                                 readFaultEntries().empty()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(CacheContentTest, HasTheHealthOfEachNode)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/r", {{"HealthStatus", 4u}});
                  datacache_healthstatus_create("/r/f", {{"HealthStatus", 2u}});
                  const std::map<std::string, uint32_t> expected{{"/r", 4},
                                                                 {"/r/f", 2}};
                  return readCacheContent()->health == expected ? 0 : 1;
              }),
              0);
}

TEST_F(CacheContentTest, LeavesOutRecordsWhosePathIsNoObjectPath)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/r", {{"HealthStatus", 4u}});
                  for (const std::string key : {"/bad\xFF", "/bad\xFE", "x"})
                  {
                      datacache_healthstatus_create(key, {});
                      put(key + "/entry/a", 4, false);
                  }
                  const auto content = readCacheContent();
                  return content->health.size() == 1 && content->faults.empty()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(CacheContentTest, CountsTheFaultsOfEachComponent)
{
    EXPECT_EQ(inChild([] {
                  put("/r/entry/a", 4, false);
                  put("/r/entry/b", 4, false);
                  put("/r/entry/c", 4, true);
                  put("/r/f/entry/d", 3, false);
                  const std::map<std::string, FaultCounts> expected{
                      {"/r", {{{4, false}, 2}, {{4, true}, 1}}},
                      {"/r/f", {{{3, false}, 1}}}};
                  return readCacheContent()->faults == expected ? 0 : 1;
              }),
              0);
}

TEST_F(CacheContentTest, CountsTheComponentsThatHaveLostTheirMonitors)
{
    EXPECT_EQ(
        inChild([] {
            const std::string lost = "HealthManager.1.0.MonitorLost";
            datacache_faultentry_create("/r/a/entry/1", {{"MessageID", lost}});
            datacache_faultentry_create(
                "/r/b/entry/1", {{"MessageID", lost}, {"Hidden", true}});
            put("/r/c/entry/1", 4, false);
            return readCacheContent()->lostMonitors == 2 ? 0 : 1;
        }),
        0);
}

TEST_F(CacheContentTest, NamesTheEntries)
{
    EXPECT_EQ(
        inChild([] {
            put("/r/entry/b", 4, false);
            put("/r/entry/a", 3, true);
            const std::vector<std::string> expected{"/r/entry/a", "/r/entry/b"};
            return readFaultEntries() == expected ? 0 : 1;
        }),
        0);
}

TEST_F(CacheContentTest, IsNothingWhenTheCacheCannotBeOpened)
{
    folder.write("datacache", "no folder");
    EXPECT_EQ(inChild([] {
                  return readCacheContent() || !readFaultEntries().empty() ? 1
                                                                           : 0;
              }),
              0);
}

} // namespace
} // namespace healthintf::exporter
