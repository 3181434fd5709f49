// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <cerrno>

namespace
{

using healthintf::test::inChild;

class FaultEntryCache : public healthintf::test::CacheTest
{
  protected:
    static std::map<std::string, FaultEntry_gen>
    read(const std::vector<std::string>& prefixes = {})
    {
        std::map<std::string, FaultEntry_gen> records;
        DataAbstraction::FaultEntry::get_map_by_path_prefixes({}, prefixes,
                                                              records);
        return records;
    }
};

const FaultEntryPropertyMap properties{{"FQDD", "Fan.1"},
                                       {"MessageID", "FAN0001"},
                                       {"Message", "Fan 7 failed."},
                                       {"Args", std::vector<std::string>{"7"}},
                                       {"Timestamp", uint64_t{1'700'000'000}},
                                       {"Severity", 4u},
                                       {"SensorPath", "/sensors/fan7"},
                                       {"SensorNumber", 48u},
                                       {"SensorType", 4u},
                                       {"Hidden", false},
                                       {"LedState", int32_t{3}},
                                       {"LcdMessage", "Fan 7"}};

TEST_F(FaultEntryCache, KeepsEveryProperty)
{
    EXPECT_EQ(
        inChild([] {
            if (datacache_faultentry_create("/a/entry/1", properties) != 0)
            {
                return 1;
            }
            const FaultEntry_gen record = read().at("/a/entry/1");
            return record.fqdd() == "Fan.1" &&
                           record.messageID() == "FAN0001" &&
                           record.message() == "Fan 7 failed." &&
                           record.args() == std::vector<std::string>{"7"} &&
                           record.timestamp() == 1'700'000'000 &&
                           record.severity() == 4 &&
                           record.sensorPath() == "/sensors/fan7" &&
                           record.sensorNumber() == 48 &&
                           record.sensorType() == 4 && !record.hidden() &&
                           record.ledState() == 3 &&
                           record.lcdMessage() == "Fan 7"
                       ? 0
                       : 2;
        }),
        0);
}

TEST_F(FaultEntryCache, ChangesOneProperty)
{
    EXPECT_EQ(
        inChild([] {
            datacache_faultentry_create("/a", properties);
            if (datacache_faultentry_set_property("/a", "Hidden", true) != 0 ||
                datacache_faultentry_set_property("/a", "Message",
                                                  "Another, longer text") != 0)
            {
                return 1;
            }
            const FaultEntry_gen record = read().at("/a");
            return record.hidden() &&
                           record.message() == "Another, longer text" &&
                           record.fqdd() == "Fan.1"
                       ? 0
                       : 2;
        }),
        0);
}

TEST_F(FaultEntryCache, KeepsTheHiddenStateDuringOtherChanges)
{
    EXPECT_EQ(
        inChild([] {
            FaultEntryPropertyMap hidden = properties;
            hidden["Hidden"] = true;
            datacache_faultentry_create("/a", hidden);
            if (!read().at("/a").hidden() ||
                datacache_faultentry_set_property("/a", "Severity", 2u) != 0 ||
                !read().at("/a").hidden())
            {
                return 1;
            }
            datacache_faultentry_set_property("/a", "Hidden", false);
            return !read().at("/a").hidden() && read().at("/a").severity() == 2
                       ? 0
                       : 2;
        }),
        0);
}

TEST_F(FaultEntryCache, RefusesPropertiesThatItDoesNotHave)
{
    EXPECT_EQ(
        inChild([] {
            if (datacache_faultentry_create("/a", {{"Other", 1u}}) != EINVAL ||
                datacache_faultentry_create("/a", {{"Severity", "4"}}) !=
                    EINVAL ||
                !read().empty())
            {
                return 1;
            }
            datacache_faultentry_create("/a", properties);
            return datacache_faultentry_set_property("/a", "Other", 1u) ==
                               EINVAL &&
                           datacache_faultentry_set_property("/a", "Severity",
                                                             "4") == EINVAL &&
                           datacache_faultentry_set_property("/a", "Hidden",
                                                             1u) == EINVAL &&
                           datacache_faultentry_set_property("/b", "Hidden",
                                                             true) == ENOENT &&
                           datacache_faultentry_set_property("/b", "Severity",
                                                             1u) == ENOENT
                       ? 0
                       : 2;
        }),
        0);
}

TEST_F(FaultEntryCache, RemovesARecordOnceAndIgnoresTheSecondTime)
{
    EXPECT_EQ(inChild([] {
                  datacache_faultentry_create("/a", properties);
                  datacache_faultentry_create("/b", properties);
                  return datacache_faultentry_remove("/a") == 0 &&
                                 datacache_faultentry_remove("/a") == ENOENT &&
                                 read().size() == 1
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(FaultEntryCache, ReadsByPrefix)
{
    EXPECT_EQ(inChild([] {
                  for (const char* path :
                       {"/a/entry/1", "/a/b/entry/1", "/c/entry/1"})
                  {
                      datacache_faultentry_create(path, properties);
                  }
                  return read({"/a"}).size() == 2 &&
                                 read({"/c", "/x"}).size() == 1 &&
                                 read().size() == 3
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(FaultEntryCache, ReportsThatThereIsNoRecordYet)
{
    EXPECT_EQ(inChild([] {
                  std::map<std::string, FaultEntry_gen> records;
                  return DataAbstraction::FaultEntry::get_map_by_path_prefixes(
                             {}, {}, records) == DataAbstraction::readNoRecords
                             ? 0
                             : 1;
              }),
              0);
}

} // namespace
