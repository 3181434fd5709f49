// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <cerrno>
#include <string>

namespace
{

using healthintf::test::inChild;

class HealthStatusCache : public healthintf::test::CacheTest
{
  protected:
    static std::map<std::string, uint32_t>
    read(const std::vector<std::string>& prefixes = {})
    {
        std::map<std::string, HealthStatus_gen> records;
        DataAbstraction::HealthStatus::get_map_by_path_prefixes({}, prefixes,
                                                                records);
        std::map<std::string, uint32_t> healths;
        for (const auto& [path, record] : records)
        {
            healths[path] = record.healthStatus();
        }
        return healths;
    }
};

using Map = std::map<std::string, uint32_t>;

TEST_F(HealthStatusCache, CreatesChangesAndRemovesARecord)
{
    EXPECT_EQ(
        inChild([] {
            if (datacache_healthstatus_create("/a", {{"HealthStatus", 2u}}) !=
                    0 ||
                read() != Map{{"/a", 2}})
            {
                return 1;
            }
            if (datacache_healthstatus_set_property("/a", "HealthStatus", 4u) !=
                    0 ||
                read() != Map{{"/a", 4}})
            {
                return 2;
            }
            return datacache_healthstatus_remove("/a") == 0 && read() == Map{}
                       ? 0
                       : 3;
        }),
        0);
}

/** Whether a path has a record, or the number of the failure. */
std::string describeExistence(const std::string& path)
{
    bool exists = false;
    const long result = datacache_healthstatus_exists(path, exists);
    return result != DataAbstraction::readOk
               ? "result " + std::to_string(result)
           : exists ? "yes"
                    : "no";
}

TEST_F(HealthStatusCache, KnowsWhetherAWholePathHasARecord)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/a", {{"HealthStatus", 2u}});
                  datacache_healthstatus_create("/a/b", {{"HealthStatus", 3u}});
                  return describeExistence("/a") == "yes" &&
                                 describeExistence("/a/b") == "yes" &&
                                 describeExistence("/") == "no" &&
                                 describeExistence("/a/") == "no" &&
                                 describeExistence("") == "no"
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(HealthStatusCache, FindsNoPathWithoutAnyRecord)
{
    EXPECT_EQ(inChild([] {
                  return describeExistence("/a") == "result 256" ? 0 : 1;
              }),
              0);
}

TEST_F(HealthStatusCache, ReportsThatAPathCannotBeLookedUp)
{
    folder.write("datacache", "no folder");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      bool exists = false;
                      return static_cast<int>(
                          datacache_healthstatus_exists("/a", exists));
                  },
                  &errors),
              ENOTDIR);
}

TEST_F(HealthStatusCache, StartsARecordAtHealthNone)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/a", {});
                  return read() == Map{{"/a", 0}} ? 0 : 1;
              }),
              0);
}

TEST_F(HealthStatusCache, ChangesNothingWithoutARecordOrProperty)
{
    EXPECT_EQ(inChild([] {
                  if (datacache_healthstatus_set_property("/a", "HealthStatus",
                                                          4u) != ENOENT ||
                      read() != Map{})
                  {
                      return 1;
                  }
                  datacache_healthstatus_create("/a", {{"HealthStatus", 2u}});
                  return datacache_healthstatus_set_property("/a", "Other",
                                                             4u) == EINVAL &&
                                 read() == Map{{"/a", 2}} &&
                                 datacache_healthstatus_remove("/b") == ENOENT
                             ? 0
                             : 2;
              }),
              0);
}

TEST_F(HealthStatusCache, AddsWhatItReadsToTheCallersMap)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/a/b", {{"HealthStatus", 3u}});
                  datacache_healthstatus_create("/b", {{"HealthStatus", 2u}});
                  std::map<std::string, HealthStatus_gen> records{
                      {"/x", HealthStatus_gen(1)}};
                  const long result =
                      DataAbstraction::HealthStatus::get_map_by_path_prefixes(
                          {"any.service"}, {"/a"}, records);
                  return result == 0 && records.size() == 2 &&
                                 records.at("/a/b").healthStatus() == 3
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(HealthStatusCache, ReportsThatThereIsNoRecordYet)
{
    EXPECT_EQ(
        inChild([] {
            std::map<std::string, HealthStatus_gen> records;
            return DataAbstraction::HealthStatus::get_map_by_path_prefixes(
                       {}, {}, records) == DataAbstraction::readNoRecords
                       ? 0
                       : 1;
        }),
        0);
}

} // namespace
