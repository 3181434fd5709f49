// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "data_cache/segment_format.hpp"
#include "data_cache/sel_entry_cache.hpp"
#include "data_cache/withdrawal.hpp"
#include "file_content.hpp"
#include "small_filesystem.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>

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

/** Whether each prefix finds exactly these entries. */
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
{
  protected:
    std::filesystem::path file() const
    {
        return folder.path() / "sel" / "log";
    }
};

/** Makes a mirror hold exactly these entries. */
int replaceBy(SelMirror& mirror, const Ids& ids,
              const std::string& name = "sensor")
{
    return mirror.replace([&](const SelMirror::Sink& put) {
        for (const uint16_t id : ids)
        {
            put(id, entry(id, name));
        }
    });
}

/** Creates a mirror with these entries, which stays after this process. */
int mirror(const Ids& ids)
{
    SelMirror made;
    return replaceBy(made, ids);
}

/** The sensor name of one entry, or the result if there is no entry. */
std::string readOne(uint16_t id)
{
    std::array<char, 6> digits{};
    std::snprintf(digits.data(), digits.size(), "%05d", id);
    Map found;
    const long result = query({paths + digits.data()}, found);
    if (found.size() == 1 && found.begin()->second.recordId() == id)
    {
        return found.begin()->second.sensor().name;
    }
    return "result " + std::to_string(result) + ", " +
           std::to_string(found.size()) + " entries";
}

TEST_F(SelEntryCache, UsesTheLogManagersObjectPaths)
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
    ASSERT_EQ(mirror({42}), 0);
    Map found;
    query({}, found);
    const SELEntry_gen& kept = found.at(paths + "00042");
    EXPECT_EQ(kept.recordId(), 42);
    EXPECT_EQ(kept.timestamp(), 7U);
    EXPECT_EQ(kept.sensor().name, "sensor");
    EXPECT_EQ(kept.sensor().path, "/sensor");
    EXPECT_EQ(kept.sensor().firstByte, 1);
    EXPECT_EQ(kept.sensor().secondByte, 2);
    EXPECT_EQ(kept.record(), entry(42).record);
}

TEST_F(SelEntryCache, HasNoRecordsUntilTheFirstEntry)
{
    Map found;
    EXPECT_EQ(query({SELInterface::logPath}, found),
              DataAbstraction::readNoRecords);
    EXPECT_FALSE(std::filesystem::exists(file().parent_path()))
        << "reading makes nothing";
    SelMirror mirror;
    ASSERT_EQ(replaceBy(mirror, {}), 0);
    for (const std::string& prefix : {std::string(), paths + "00002"})
    {
        EXPECT_EQ(query({prefix}, found), DataAbstraction::readNoRecords);
    }
    ASSERT_EQ(mirror.add(7, entry(1)), 0);
    EXPECT_EQ(query({paths + "00002"}, found), DataAbstraction::readOk);
    EXPECT_TRUE(found.empty());
}

TEST_F(SelEntryCache, KnowsWhetherItsFileIsStillInPlace)
{
    SelMirror mirror;
    EXPECT_FALSE(mirror.isInPlace());
    const auto made = [&mirror] {
        return replaceBy(mirror, {1}) == 0 && mirror.add(7, entry(2)) == 0 &&
               mirror.isInPlace();
    };
    ASSERT_TRUE(made());
    std::filesystem::remove(file());
    EXPECT_FALSE(mirror.isInPlace());
    ASSERT_TRUE(made());
    std::filesystem::remove_all(file().parent_path());
    EXPECT_FALSE(mirror.isInPlace());
    ASSERT_TRUE(made());
    folder.write("sel/other", "no mirror");
    std::filesystem::rename(folder.path() / "sel" / "other", file());
    EXPECT_FALSE(mirror.isInPlace());
    ASSERT_TRUE(made());
    std::filesystem::resize_file(file(), 100);
    EXPECT_FALSE(mirror.isInPlace());
    EXPECT_TRUE(made());
}

TEST_F(SelEntryCache, FindsAllEntriesByThePathOfTheLog)
{
    ASSERT_EQ(mirror({65534, 1}), 0);
    EXPECT_TRUE(
        allFind({"", "/", "/com/vexa/olvar/logmgr", "/com/vexa/olvar/logmgr/",
                 "/com/vexa/olvar/logmgr/SEL", paths},
                {1, 65534}));
}

TEST_F(SelEntryCache, FindsEntriesByThePrefixesOfTheirPaths)
{
    ASSERT_EQ(mirror({7, 70, 71, 700}), 0);
    EXPECT_TRUE(allFind({paths + "0007"}, {70, 71}));
    EXPECT_TRUE(allFind({paths + "00007"}, {7}));
    EXPECT_TRUE(allFind({"/com/vexa/olvar/logmgr/SEL/", "/elsewhere"}, {}));
    EXPECT_EQ(
        idsBy({paths + "00700", paths + "007", "/com/vexa/olvar/logmgr/SELX"}),
        Ids{700});
    EXPECT_EQ(idsBy({paths + "00007", paths + "00070"}), (Ids{7, 70}));
}

TEST_F(SelEntryCache, FindsTheFirstAndTheLastEntryByTheirIdentifiers)
{
    ASSERT_EQ(mirror({1, 2, 65534}), 0);
    EXPECT_EQ(readOne(1), "sensor");
    EXPECT_EQ(readOne(2), "sensor");
    EXPECT_EQ(readOne(65534), "sensor");
    for (const uint16_t id : {0, 3, 65533, 65535})
    {
        EXPECT_EQ(readOne(id), "result 0, 0 entries") << id;
    }
}

TEST_F(SelEntryCache, TakesNothingElseForAnIdentifier)
{
    ASSERT_EQ(mirror({1, 65534}), 0);
    EXPECT_TRUE(
        allFind({paths + "1", paths + "+0001", paths + " 0001", paths + "0000x",
                 paths + "000001", paths + "70000", paths + "99999"},
                {}));
}

TEST_F(SelEntryCache, AddsToTheEntriesThatTheCallerHas)
{
    ASSERT_EQ(mirror({1}), 0);
    Map found{{"mine", SELEntry_gen(entry(9))}};
    query({SELInterface::logPath}, found);
    EXPECT_EQ(found.size(), 2U);
    EXPECT_EQ(found.at("mine").recordId(), 9);
}

TEST_F(SelEntryCache, AddsAndRemovesEntries)
{
    SelMirror mirror;
    ASSERT_EQ(replaceBy(mirror, {1, 2}), 0);
    EXPECT_EQ(mirror.add(7, entry(3), {1, 2, 1000}), 0);
    EXPECT_EQ(idsBy({}), Ids{3});
    EXPECT_EQ(mirror.add(7, entry(4)), 0);
    EXPECT_EQ(idsBy({}), (Ids{3, 4}));
}

TEST_F(SelEntryCache, ReusesAnIdentifier)
{
    SelMirror mirror;
    ASSERT_EQ(replaceBy(mirror, {1, 2}), 0);
    // The removed entry and the new one have the same identifier.
    EXPECT_EQ(mirror.add(7, entry(1, "again, with a longer name"), {1}), 0);
    EXPECT_EQ(readOne(1), "again, with a longer name");
    EXPECT_EQ(idsBy({}), (Ids{1, 2}));
    for (int i = 0; i < 1000; ++i)
    {
        const std::string name = "round " + std::to_string(i);
        ASSERT_EQ(mirror.add(7, entry(2, name)), 0);
        ASSERT_EQ(readOne(2), name);
    }
}

TEST_F(SelEntryCache, IsReadInTheOrderOfTheSequenceNumbers)
{
    // A full log that has wrapped: every identifier is in use.
    constexpr uint16_t identifiers = 65534;
    constexpr uint64_t first = 1000;
    SelMirror mirror;
    ASSERT_EQ(mirror.replace([](const SelMirror::Sink& put) {
        for (uint64_t each = first; each < first + identifiers; ++each)
        {
            put(each, entry(static_cast<uint16_t>(each % identifiers + 1)));
        }
    }),
              0);
    std::vector<SELEntryProperties> read;
    EXPECT_EQ(readSelMirror(read), DataAbstraction::readOk);
    ASSERT_EQ(read.size(), identifiers);
    EXPECT_EQ(read.front().recordId, first + 1);
    EXPECT_EQ(read.back().recordId, first);
    ASSERT_EQ(mirror.add(first + identifiers, entry(first + 1)), 0);
    read.clear();
    readSelMirror(read);
    EXPECT_EQ(read.front().recordId, first + 2);
    EXPECT_EQ(read.back().recordId, first + 1);
}

TEST_F(SelEntryCache, OutlivesItsWriter)
{
    Child writer([](const Child::Parent& parent) {
        SelMirror made;
        replaceBy(made, {1, 65534}, "theirs");
        datacache_healthstatus_create("/a", {{"HealthStatus", 3u}});
        parent.tell("put");
        Child::Parent::waitForever();
        return 0;
    });
    writer.hear();
    writer.kill();
    EXPECT_EQ(inChild([] {
                  const auto left = Withdrawal().removeTheDead();
                  return left->size() == 1 && left->front().key == "/a" ? 0 : 1;
              }),
              0);
    EXPECT_EQ(idsBy({}), (Ids{1, 65534}));
    EXPECT_EQ(readOne(65534), "theirs");
}

TEST_F(SelEntryCache, IsReplacedAtOnceByAWriterThatStartsAgain)
{
    Child first([](const Child::Parent& parent) {
        SelMirror made;
        replaceBy(made, {1, 2}, "first");
        parent.tell("put");
        Child::Parent::waitForever();
        return 0;
    });
    first.hear();
    first.kill();
    SelMirror second;
    EXPECT_EQ(second.replace([](const SelMirror::Sink& put) {
        put(2, entry(3, "second"));
        // Until the new mirror is complete, readers see the old entries.
        EXPECT_EQ(idsBy({}), (Ids{1, 2}));
        put(3, entry(4, "second"));
    }),
              0);
    EXPECT_EQ(idsBy({}), (Ids{3, 4}));
    EXPECT_EQ(readOne(1), "result 0, 0 entries");
    EXPECT_EQ(second.add(7, entry(1, "second")), 0);
    EXPECT_EQ(readOne(1), "second");
}

TEST_F(SelEntryCache, IsMadeAlsoAfterAWriterDiedMakingIt)
{
    folder.write("sel/.new-log", "half");
    EXPECT_EQ(mirror({5}), 0);
    EXPECT_EQ(idsBy({}), Ids{5});
    EXPECT_FALSE(std::filesystem::exists(file().parent_path() / ".new-log"));
}

TEST_F(SelEntryCache, RefusesALinkAndAnInvalidMirror)
{
    ASSERT_EQ(mirror({1}), 0);
    const std::string content = test::readContent(file());
    folder.write("elsewhere", content);
    std::filesystem::remove(file());
    std::filesystem::create_symlink(folder.path() / "elsewhere", file());
    Map found;
    EXPECT_EQ(query({}, found), DataAbstraction::readNoRecords);
    std::filesystem::remove(file());
    folder.write("sel/log", content.substr(0, sizeof(SegmentHeader) - 1));
    EXPECT_EQ(query({}, found), DataAbstraction::readNoRecords);
    folder.write("sel/log", content);
    EXPECT_EQ(query({}, found), DataAbstraction::readOk);
    EXPECT_EQ(found.size(), 1U);
}

TEST_F(SelEntryCache, ReportsThatItCannotBeReadOrMade)
{
    folder.write("sel", "no folder");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      Map found;
                      return query({}, found) == ENOTDIR && mirror({1}) != 0
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, testing::HasSubstr("data cache"));
}

TEST_F(SelEntryCache, TakesAWholeLogAndReportsWhenItIsFull)
{
    setenv("HEALTHINTF_CACHE_MIB", "2", 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      SelMirror kept;
                      const auto fill = [&kept](uint16_t count) {
                          Ids ids;
                          for (uint16_t id = 1; id <= count; ++id)
                          {
                              ids.push_back(id);
                          }
                          return replaceBy(kept, ids, std::string(500, 'x'));
                      };
                      if (fill(800) != 0 || idsBy({}).size() != 800)
                      {
                          return 1;
                      }
                      if (fill(65534) != EDQUOT || idsBy({}).size() != 800)
                      {
                          return 2;
                      }
                      // The existing mirror can still be changed.
                      return kept.add(7, entry(801), {1}) == 0 &&
                                     idsBy({}).size() == 800
                                 ? 0
                                 : 3;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, testing::HasSubstr("raise HEALTHINTF_CACHE_MIB"));
}

TEST_F(SelEntryCache, HasRoomForTheLargestLog)
{
    EXPECT_EQ(inChild([] {
                  Ids ids;
                  for (uint16_t id = 1; id <= 65534; ++id)
                  {
                      ids.push_back(id);
                  }
                  return mirror(ids) == 0 && idsBy({}) == ids &&
                                 readOne(65534) == "sensor"
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(SelEntryCache, SurvivesAFilesystemThatIsFullInTheMiddleOfAStep)
{
    for (const char* size : {"size=64k", "size=1m", "size=3m", "size=6m"})
    {
        expectOnSmallFilesystem(folder.path(), size, [] {
            SelMirror kept;
            if (replaceBy(kept, {1}) != 0)
            {
                return 1;
            }
            Ids ids;
            for (uint16_t id = 1; id <= 20000; ++id)
            {
                ids.push_back(id);
            }
            const int result = replaceBy(kept, ids, std::string(500, 'x'));
            return result == ENOSPC && idsBy({}) == Ids{1} ? 0 : 2;
        });
    }
}

} // namespace
} // namespace healthintf::host
