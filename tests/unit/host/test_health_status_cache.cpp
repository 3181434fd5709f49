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

/** What is read of one path: its health, or the result without one. */
std::string readOne(const std::string& path)
{
    HealthStatus_gen record;
    const long result = datacache_healthstatus_read(path, record);
    return result == DataAbstraction::readOk
               ? std::to_string(record.healthStatus())
               : "result " + std::to_string(result);
}

TEST_F(HealthStatusCache, ReadsTheRecordOfOneWholePath)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create("/a", {{"HealthStatus", 2u}});
                  datacache_healthstatus_create("/a/b", {{"HealthStatus", 3u}});
                  const std::string none =
                      "result " +
                      std::to_string(DataAbstraction::readNoRecords);
                  return readOne("/a") == "2" && readOne("/a/b") == "3" &&
                                 readOne("/") == none &&
                                 readOne("/a/") == none && readOne("") == none
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(HealthStatusCache, HasNoRecordOfAPathWithoutAnyRecord)
{
    EXPECT_EQ(inChild([] {
                  HealthStatus_gen record(4);
                  return datacache_healthstatus_read("/a", record) ==
                                     DataAbstraction::readNoRecords &&
                                 record.healthStatus() == 4
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(HealthStatusCache, SaysWhenAPathCannotBeRead)
{
    folder.write("datacache", "no folder");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      HealthStatus_gen record;
                      return static_cast<int>(
                          datacache_healthstatus_read("/a", record));
                  },
                  &errors),
              ENOTDIR);
}

TEST_F(HealthStatusCache, StartsARecordAtNone)
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

TEST_F(HealthStatusCache, AnswersThatThereIsNoRecordYet)
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
