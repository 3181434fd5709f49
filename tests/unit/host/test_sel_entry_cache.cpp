#include "cache_test.hpp"
#include "data_cache/record_table.hpp"
#include "data_cache/sel_entry_cache.hpp"
#include "data_cache/withdrawal.hpp"
#include "small_filesystem.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::expectOnSmallFilesystem;
using test::inChild;
using Ids = std::vector<uint16_t>;
using Map = std::map<std::string, SELEntry_gen>;

const std::string paths = SELInterface::entryPrefix;

SELEntryProperties entry(uint16_t id, const std::string& name = "sensor")
{
    SELEntryProperties made;
    made.recordId = id;
    made.timestamp = 7;
    made.sensor = {name, "/sensor", 1, 2};
    made.record[0] = static_cast<uint8_t>(id);
    return made;
}

long query(const std::vector<std::string>& prefixes, Map& found)
{
    return DataAbstraction::SELEntry::get_map_by_path_prefixes({}, prefixes,
                                                               found);
}

/** The identifiers of the entries that a query finds. */
Ids idsBy(const std::vector<std::string>& prefixes)
{
    Map found;
    query(prefixes, found);
    Ids ids;
    for (const auto& [path, each] : found)
    {
        ids.push_back(each.recordId());
    }
    return ids;
}

/** Whether each prefix finds these. */
bool allFind(const std::vector<std::string>& prefixes, const Ids& expected)
{
    for (const std::string& prefix : prefixes)
    {
        if (idsBy({prefix}) != expected)
        {
            return false;
        }
    }
    return true;
}

class SelEntryCache : public test::CacheTest
{};

TEST_F(SelEntryCache, IsWhereTheLogManagerSaysThatItIs)
{
    EXPECT_STREQ(names::selPath, "/com/vexa/olvar/logmgr/SEL");
    EXPECT_STREQ(names::selEntryPrefix, "/com/vexa/olvar/logmgr/selentry/");
    EXPECT_STREQ(names::selInterface, "com.vexa.olvar.logmgr.SEL");
    EXPECT_STREQ(names::addSelMethod, "AddSEL");
    EXPECT_STREQ(SELInterface::logPath, names::selPath);
    EXPECT_STREQ(SELInterface::entryPrefix, names::selEntryPrefix);
}

TEST_F(SelEntryCache, KeepsEveryProperty)
{
    EXPECT_EQ(inChild([] {
                  if (addSelEntry(entry(42)) != 0)
                  {
                      return 1;
                  }
                  Map found;
                  query({}, found);
                  const SELEntry_gen& kept = found.at(paths + "00042");
                  return kept.recordId() == 42 && kept.timestamp() == 7 &&
                                 kept.sensor().name == "sensor" &&
                                 kept.sensor().path == "/sensor" &&
                                 kept.sensor().firstByte == 1 &&
                                 kept.sensor().secondByte == 2 &&
                                 kept.record() == entry(42).record
                             ? 0
                             : 2;
              }),
              0);
}

TEST_F(SelEntryCache, HasNoRecordsUntilTheFirstEntry)
{
    EXPECT_EQ(inChild([] {
                  Map found;
                  const long before = query({SELInterface::logPath}, found);
                  addSelEntry(entry(1));
                  return before == DataAbstraction::readNoRecords &&
                                 query({paths + "00002"}, found) ==
                                     DataAbstraction::readOk &&
                                 found.empty()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(SelEntryCache, FindsAllEntriesByWhatSelectsTheLog)
{
    EXPECT_EQ(inChild([] {
                  addSelEntry(entry(65534));
                  addSelEntry(entry(1));
                  return allFind({"", "/", "/com/vexa/olvar/logmgr",
                                  "/com/vexa/olvar/logmgr/",
                                  "/com/vexa/olvar/logmgr/SEL", paths},
                                 {1, 65534})
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(SelEntryCache, FindsEntriesByThePrefixesOfTheirPaths)
{
    EXPECT_EQ(
        inChild([] {
            for (const uint16_t id : {7, 70, 71, 700})
            {
                addSelEntry(entry(id));
            }
            const bool narrow =
                allFind({paths + "0007"}, {70, 71}) &&
                allFind({paths + "00007"}, {7}) &&
                allFind({"/com/vexa/olvar/logmgr/SEL/", "/elsewhere"}, {});
            return narrow && idsBy({paths + "00700", paths + "007",
                                    "/com/vexa/olvar/logmgr/SELX"}) == Ids{700}
                       ? 0
                       : 1;
        }),
        0);
}

TEST_F(SelEntryCache, AddsToTheEntriesThatTheCallerHas)
{
    EXPECT_EQ(inChild([] {
                  addSelEntry(entry(1));
                  Map found{{"mine", SELEntry_gen(entry(9))}};
                  query({SELInterface::logPath}, found);
                  return found.size() == 2 && found.at("mine").recordId() == 9
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(SelEntryCache, RemovesInOneStepWithAnAddition)
{
    EXPECT_EQ(inChild([] {
                  addSelEntry(entry(1));
                  addSelEntry(entry(2));
                  addSelEntry(entry(3), {1, 2, 1000});
                  return idsBy({}) == Ids{3} ? 0 : 1;
              }),
              0);
}

TEST_F(SelEntryCache, TakesOverWhatAnotherProcessHasPut)
{
    Child other([](const Child::Parent& parent) {
        for (const uint16_t id : {1, 2, 3})
        {
            addSelEntry(entry(id, "theirs"));
        }
        parent.tell("put");
        Child::Parent::waitForever();
        return 0;
    });
    other.hear();
    EXPECT_EQ(inChild([] {
                  addSelEntry(entry(2, "mine"), {1});
                  Map found;
                  query({}, found);
                  const bool added =
                      found.size() == 2 &&
                      found.at(paths + "00002").sensor().name == "mine";
                  replaceSelEntries([](const SelEntrySink& put) {
                      put(entry(4));
                      put(entry(5));
                  });
                  const bool replaced = idsBy({}) == Ids{4, 5};
                  return added && replaced && removeSelEntries() == 0 &&
                                 idsBy({}).empty()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(SelEntryCache, LeavesTheOtherKindsAlone)
{
    EXPECT_EQ(inChild([] {
                  datacache_healthstatus_create(paths + "00001",
                                                {{"HealthStatus", 3u}});
                  addSelEntry(entry(1));
                  removeSelEntries();
                  return findHealthRecord(paths + "00001") ? 0 : 1;
              }),
              0);
}

TEST_F(SelEntryCache, OutlivesItsWriterInTheEyesOfTheHealthManager)
{
    Child user([](const Child::Parent& parent) {
        datacache_healthstatus_create("/living", {{"HealthStatus", 3u}});
        parent.tell("here");
        Child::Parent::waitForever();
        return 0;
    });
    user.hear();
    Child writer([](const Child::Parent& parent) {
        addSelEntry(entry(1));
        datacache_healthstatus_create("/a", {{"HealthStatus", 3u}});
        const ProcessIdentity self = ProcessIdentity::self();
        parent.tell(std::to_string(self.pid));
        parent.tell(std::to_string(self.startTime));
        Child::Parent::waitForever();
        return 0;
    });
    const auto pid = static_cast<uint32_t>(std::stoul(writer.hear()));
    const ProcessIdentity dead{pid, std::stoull(writer.hear())};
    writer.kill();
    EXPECT_EQ(inChild([&dead] {
                  std::vector<std::string> keys;
                  withdrawRecords(dead, keys);
                  std::set<ProcessIdentity> owners;
                  listOwners(owners);
                  return keys == std::vector<std::string>{"/a"} &&
                                 !owners.contains(dead) && idsBy({}) == Ids{1}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(SelEntryCache, TakesAWholeLogInOneStepAndSaysWhenItIsFull)
{
    setenv("HEALTHINTF_CACHE_MIB", "2", 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      addSelEntry(entry(1));
                      const auto fill = [](uint16_t count) {
                          return replaceSelEntries(
                              [count](const SelEntrySink& put) {
                                  for (uint16_t id = 1; id <= count; ++id)
                                  {
                                      put(entry(id, std::string(500, 'x')));
                                  }
                              });
                      };
                      if (fill(800) != 0 || idsBy({}).size() != 800)
                      {
                          return 1;
                      }
                      if (fill(65534) == 0 || idsBy({}).size() != 800)
                      {
                          return 2;
                      }
                      return removeSelEntries() == 0 && fill(800) == 0 ? 0 : 3;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, testing::HasSubstr("raise HEALTHINTF_CACHE_MIB"));
}

TEST_F(SelEntryCache, SurvivesAFilesystemThatIsFullInTheMiddleOfAStep)
{
    for (const char* size : {"size=3m", "size=4m", "size=6m", "size=9m"})
    {
        expectOnSmallFilesystem(folder.path(), size, [] {
            if (addSelEntry(entry(1)) != 0)
            {
                return 0;
            }
            const int result = replaceSelEntries([](const SelEntrySink& put) {
                for (uint16_t id = 1; id <= 20000; ++id)
                {
                    put(entry(id, std::string(500, 'x')));
                }
            });
            return result == ENOSPC && idsBy({}) == Ids{1} ? 0 : 1;
        });
    }
}

} // namespace
} // namespace healthintf::host
