// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "data_cache/data_cache.hpp"
#include "data_cache/record_table.hpp"
#include "data_cache/refused_records.hpp"

#include <platform/data_abstraction/results.hpp>

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <map>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;

constexpr auto fault = RecordKind::faultEntry;
constexpr auto health = RecordKind::healthStatus;

class RecordTable : public test::CacheTest
{
  protected:
    /** A running process that owns a record. */
    static Child owner(RecordKind kind, const std::string& path)
    {
        return Child([kind, path](const Child::Parent& parent) {
            parent.tell(std::to_string(putRecord(kind, path, "theirs", 0)));
            Child::Parent::waitForever();
            return 0;
        });
    }

    static std::map<std::string, std::string>
    read(const RecordQuery& query, long expected = DataAbstraction::readOk)
    {
        std::map<std::string, std::string> found;
        const long result = readRecordsInto(
            found, query, [](const ReadRecord& record, const ProcessIdentity&) {
                return std::string(record.payload);
            });
        return result == expected ? found
                                  : std::map<std::string, std::string>{
                                        {"result", std::to_string(result)}};
    }

    static std::map<std::string, std::string>
    read(RecordKind kind, const std::vector<std::string>& prefixes = {},
         long expected = DataAbstraction::readOk)
    {
        return read(RecordQuery::below(kind, prefixes), expected);
    }
};

using Map = std::map<std::string, std::string>;
using Lives = std::map<std::string, uint32_t>;

/** The live values of all nodes. */
Lives lives()
{
    Lives found;
    readRecordsInto(found, RecordQuery::below(health, {}),
                    [](const ReadRecord& record, const ProcessIdentity&) {
                        return record.live;
                    });
    return found;
}

TEST_F(RecordTable, KeepsRecordsByKindAndPath)
{
    EXPECT_EQ(inChild([] {
                  putRecord(fault, "/a", "fault", 0);
                  putRecord(health, "/a", "health", 0);
                  return read(fault) == Map{{"/a", "fault"}} &&
                                 read(health) == Map{{"/a", "health"}}
                             ? 0
                             : 1;
              }),
              0);
}

/** Makes this process's files unable to grow, as if the filesystem were full,
 *  or ends that. */
void setSpace(bool enough)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit most{enough ? RLIM_INFINITY : 0, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &most);
}

TEST_F(RecordTable, AddsRefusedRecordsWithTheNextSuccessfulChange)
{
    EXPECT_EQ(inChild([] {
                  setSpace(false);
                  if (putRecord(health, "/a", "", 2) == 0 ||
                      putRecord(fault, "/a/1", "fault", 0) == 0 ||
                      setLiveValue(health, "/c", 4) != ENOENT)
                  {
                      return 1;
                  }
                  setSpace(true);
                  return setLiveValue(health, "/a", 4) == 0 &&
                                 read(health) == Map{{"/a", ""}} &&
                                 read(fault) == Map{{"/a/1", "fault"}}
                             ? 0
                             : 2;
              }),
              0);
}

TEST_F(RecordTable, ChangesRefusedRecordsUntilTheyAreAdded)
{
    EXPECT_EQ(inChild([] {
                  setSpace(false);
                  putRecord(health, "/a", "", 2);
                  putRecord(fault, "/a/1", "fault", 0);
                  const auto repair = [](std::string& payload) {
                      payload += " repaired";
                      return 0;
                  };
                  if (setLiveValue(health, "/a", 4) != 0 ||
                      editRecord(fault, "/a/1", repair) != 0)
                  {
                      return 1;
                  }
                  setSpace(true);
                  putRecord(health, "/b", "", 2);
                  return lives() == Lives{{"/a", 4}, {"/b", 2}} &&
                                 read(fault) == Map{{"/a/1", "fault repaired"}}
                             ? 0
                             : 2;
              }),
              0);
}

TEST_F(RecordTable, ChangesARefusedRecordThatIsToReplaceAnother)
{
    EXPECT_EQ(inChild([] {
                  putRecord(health, "/a", "", 2);
                  setSpace(false);
                  const std::string large(1UL << 16, 'x');
                  if (putRecord(health, "/a", large, 3) == 0 ||
                      setLiveValue(health, "/a", 4) != 0 ||
                      lives() != Lives{{"/a", 4}})
                  {
                      return 1;
                  }
                  setSpace(true);
                  putRecord(health, "/b", "", 2);
                  return lives() == Lives{{"/a", 4}, {"/b", 2}} &&
                                 read(health) == Map{{"/a", large}, {"/b", ""}}
                             ? 0
                             : 2;
              }),
              0);
}

TEST_F(RecordTable, ForgetsARefusedRecordThatCannotBeChangedLikeTheOther)
{
    EXPECT_EQ(
        inChild([] {
            putRecord(fault, "/a", "small", 0);
            setSpace(false);
            // Together they take all room for refused records.
            const std::string half(RefusedRecords::most / 2 - 2, 'x');
            putRecord(fault, "/a", half, 0);
            putRecord(fault, "/b", half, 0);
            const auto grow = [](std::string& payload) {
                payload += "er";
                return 0;
            };
            if (editRecord(fault, "/a", grow) != 0)
            {
                return 1;
            }
            setSpace(true);
            removeRecord(fault, "/b");
            putRecord(fault, "/c", "", 0);
            return read(fault) == Map{{"/a", "smaller"}, {"/c", ""}} ? 0 : 2;
        }),
        0);
}

TEST_F(RecordTable, DoesNotAddARefusedRecordThatWasRemoved)
{
    EXPECT_EQ(inChild([] {
                  setSpace(false);
                  putRecord(health, "/a", "", 2);
                  putRecord(health, "/b", "", 2);
                  removeRecord(health, "/a");
                  setSpace(true);
                  setLiveValue(health, "/b", 3);
                  return read(health) == Map{{"/b", ""}} ? 0 : 1;
              }),
              0);
}

TEST_F(RecordTable, DoesNotRetryARecordThatIsTooLarge)
{
    EXPECT_EQ(inChild([] {
                  const std::string path = "/" + std::string(600, 'a');
                  return putRecord(health, path, "", 2) == ENAMETOOLONG &&
                                 setLiveValue(health, path, 3) == ENOENT
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, ReportsThatThereAreNoRecordsOfAKind)
{
    EXPECT_EQ(
        inChild([] {
            if (read(health, {}, DataAbstraction::readNoRecords) != Map{})
            {
                return 1;
            }
            putRecord(fault, "/a", "", 0);
            if (read(health, {"/a"}, DataAbstraction::readNoRecords) != Map{})
            {
                return 2;
            }
            return read(fault, {"/b"}, DataAbstraction::readOk) == Map{} ? 0
                                                                         : 3;
        }),
        0);
}

TEST_F(RecordTable, ReplacesARecordByALaterOne)
{
    EXPECT_EQ(inChild([] {
                  putRecord(fault, "/a", "one", 0);
                  putRecord(fault, "/a", "two, and longer", 0);
                  return read(fault) == Map{{"/a", "two, and longer"}} ? 0 : 1;
              }),
              0);
}

TEST_F(RecordTable, ReadsByPrefix)
{
    EXPECT_EQ(inChild([] {
                  for (const char* path : {"/a", "/a/b", "/ab", "/b", "/b/c"})
                  {
                      putRecord(fault, path, path, 0);
                  }
                  return read(fault, {"/a"}) == Map{{"/a", "/a"},
                                                    {"/a/b", "/a/b"},
                                                    {"/ab", "/ab"}} &&
                                 read(fault, {"/b/", "/ab"}) ==
                                     Map{{"/ab", "/ab"}, {"/b/c", "/b/c"}} &&
                                 read(fault, {"/x"}) == Map{} &&
                                 read(fault, {""}).size() == 5 &&
                                 read(fault, {std::string(600, '/')}) == Map{}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, ReadsOnlyTheRecordOfAWholePath)
{
    EXPECT_EQ(inChild([] {
                  putRecord(health, "/a", "1", 0);
                  putRecord(health, "/a/b", "2", 0);
                  putRecord(health, "/a/b/c", "3", 0);
                  putRecord(fault, "/a/b", "4", 0);
                  const auto one = [](const std::string& path) {
                      return read(RecordQuery::exactly(health, path));
                  };
                  const std::string tooLong(maxRecordPath + 1, 'a');
                  return one("/a/b") == Map{{"/a/b", "2"}} &&
                                 one("/").empty() && one("").empty() &&
                                 one(tooLong).empty()
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, EditsARecordInPlace)
{
    EXPECT_EQ(
        inChild([] {
            putRecord(fault, "/a", "one", 0);
            const auto set = [](const char* text, int result) {
                return editRecord(fault, "/a", [=](std::string& payload) {
                    payload = text;
                    return result;
                });
            };
            if (set("three", 0) != 0 || read(fault) != Map{{"/a", "three"}})
            {
                return 1;
            }
            if (set("2", 0) != 0 || read(fault) != Map{{"/a", "2"}})
            {
                return 2;
            }
            return set("not", 7) == 7 && read(fault) == Map{{"/a", "2"}} ? 0
                                                                         : 3;
        }),
        0);
}

/** The live value of a record; -1 if there is none. */
int64_t readLive(RecordKind kind, const std::string& path)
{
    std::map<std::string, uint32_t> found;
    readRecordsInto(found, RecordQuery::exactly(kind, path),
                    [](const ReadRecord& record, const ProcessIdentity&) {
                        return record.live;
                    });
    return found.empty() ? -1 : int64_t{found.begin()->second};
}

TEST_F(RecordTable, ChangesOnlyTheLiveValue)
{
    EXPECT_EQ(inChild([] {
                  putRecord(health, "/a", "one", 7);
                  if (readLive(health, "/a") != 7 ||
                      setLiveValue(health, "/a", UINT32_MAX) != 0 ||
                      readLive(health, "/a") != UINT32_MAX)
                  {
                      return 1;
                  }
                  editRecord(health, "/a", [](std::string& payload) {
                      payload = "two";
                      return 0;
                  });
                  return readLive(health, "/a") == UINT32_MAX &&
                                 read(health) == Map{{"/a", "two"}} &&
                                 putRecord(health, "/a", "three", 1) == 0 &&
                                 readLive(health, "/a") == 1
                             ? 0
                             : 2;
              }),
              0);
}

TEST_F(RecordTable, ShowsALiveValueToOtherProcesses)
{
    Child other([](const Child::Parent& parent) {
        putRecord(health, "/a", "one", 1);
        parent.tell("put");
        setLiveValue(health, "/a", 2);
        parent.tell("changed");
        Child::Parent::waitForever();
        return 0;
    });
    ASSERT_EQ(other.hear(), "put");
    ASSERT_EQ(other.hear(), "changed");
    EXPECT_EQ(inChild([] {
                  return readLive(health, "/a") == 2 ? 0 : 1;
              }),
              0);
}

TEST_F(RecordTable, HasNothingToEditOrRemoveWithoutARecord)
{
    EXPECT_EQ(inChild([] {
                  const auto keep = [](std::string&) {
                      return 0;
                  };
                  return editRecord(fault, "/a", keep) == ENOENT &&
                                 removeRecord(fault, "/a") == ENOENT
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, RemovesARecord)
{
    EXPECT_EQ(inChild([] {
                  putRecord(fault, "/a", "", 0);
                  putRecord(health, "/a", "", 0);
                  return removeRecord(fault, "/a") == 0 &&
                                 read(fault, {},
                                      DataAbstraction::readNoRecords) ==
                                     Map{} &&
                                 read(health).size() == 1
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, LeavesRecordsOfAnotherProcess)
{
    Child other = owner(fault, "/a");
    ASSERT_EQ(other.hear(), "0");
    EXPECT_EQ(inChild([] {
                  const auto spoil = [](std::string& payload) {
                      payload = "mine";
                      return 0;
                  };
                  putRecord(fault, "/mine", "", 0);
                  return editRecord(fault, "/a", spoil) == ENOENT &&
                                 setLiveValue(fault, "/a", 1) == ENOENT &&
                                 removeRecord(fault, "/a") == ENOENT &&
                                 read(fault, {"/a"}) == Map{{"/a", "theirs"}}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, TakesOverARecordByCreatingIt)
{
    Child other = owner(health, "/a");
    ASSERT_EQ(other.hear(), "0");
    EXPECT_EQ(inChild([] {
                  return putRecord(health, "/a", "mine", 0) == 0 &&
                                 read(health) == Map{{"/a", "mine"}} &&
                                 removeRecord(health, "/a") == 0 &&
                                 read(health) == Map{{"/a", "theirs"}}
                             ? 0
                             : 1;
              }),
              0)
        << "and gives it back by removing its own";
}

TEST_F(RecordTable, LetsALivingProcessesRecordCountOnRequest)
{
    Child other = owner(health, "/a");
    ASSERT_EQ(other.hear(), "0");
    EXPECT_EQ(inChild([] {
                  makeOwnRecordsPlaceholders();
                  return putRecord(health, "/a", "mine", 0) == 0 &&
                                 putRecord(health, "/b", "mine", 0) == 0 &&
                                 putRecord(health, "/b", "again", 0) == 0 &&
                                 read(health) ==
                                     Map{{"/a", "theirs"}, {"/b", "again"}}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, LetsNoDeadProcessesRecordCount)
{
    Child dead = owner(health, "/a");
    ASSERT_EQ(dead.hear(), "0");
    dead.kill();
    EXPECT_EQ(inChild([] {
                  makeOwnRecordsPlaceholders();
                  return putRecord(health, "/a", "mine", 0) == 0 &&
                                 read(health) == Map{{"/a", "mine"}}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, RefusesAPathThatIsTooLong)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      return putRecord(fault, std::string(510, '/'), "", 0) ==
                                         0 &&
                                     putRecord(fault, std::string(511, '/'), "",
                                               0) == ENAMETOOLONG &&
                                     read(fault, {"/"}).size() == 1
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_NE(errors.find("an object path is too long"), std::string::npos);
}

TEST_F(RecordTable, RefusesARecordThatIsTooLarge)
{
    std::string errors;
    EXPECT_EQ(
        inChild(
            [] {
                // A block also holds its header and the path.
                const std::size_t most = maxBlock - sizeof(BlockHeader) - 2;
                return putRecord(fault, "/a", std::string(most, 'x'), 0) == 0 &&
                               putRecord(fault, "/b",
                                         std::string(most + 1, 'x'),
                                         0) == E2BIG &&
                               read(fault).size() == 1 &&
                               read(fault).at("/a").size() == most
                           ? 0
                           : 1;
            },
            &errors),
        0);
    EXPECT_NE(errors.find("the texts of a fault are too long"),
              std::string::npos);
}

TEST_F(RecordTable, KnowsWhoOwnsARecord)
{
    EXPECT_EQ(inChild([] {
                  putRecord(fault, "/a", "", 0);
                  std::map<std::string, ProcessIdentity> owners;
                  readRecordsInto(
                      owners, RecordQuery::below(fault, {}),
                      [](const ReadRecord&, const ProcessIdentity& owner) {
                          return owner;
                      });
                  return owners.at("/a") == ProcessIdentity::self() ? 0 : 1;
              }),
              0);
}

/** The number of occurrences of a text in another. */
std::size_t count(const std::string& text, const std::string& part)
{
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos;
         at = text.find(part, at + 1))
    {
        ++found;
    }
    return found;
}

TEST_F(RecordTable, LeavesOutAnUnreadableRecordAndLogsItOnce)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      putRecord(fault, "/good", "good", 0);
                      putRecord(fault, "/bad", "", 0);
                      std::map<std::string, char> found;
                      const long result = readRecordsInto(
                          found, RecordQuery::below(fault, {}),
                          [](const ReadRecord& record, const ProcessIdentity&) {
                              return std::string(record.payload).at(0);
                          });
                      return result == 0 && found ==
                                                std::map<std::string, char>{
                                                    {"/good", 'g'}}
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_EQ(count(errors, "the record of /bad was left out"), 1U) << errors;
}

TEST_F(RecordTable, KeepsTheReadableOfTwoRecordsOfOnePath)
{
    Child other = owner(fault, "/a");
    ASSERT_EQ(other.hear(), "0");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      putRecord(fault, "/a", "", 0);
                      std::map<std::string, char> found;
                      readRecordsInto(
                          found, RecordQuery::below(fault, {}),
                          [](const ReadRecord& record, const ProcessIdentity&) {
                              return std::string(record.payload).at(0);
                          });
                      return found == std::map<std::string, char>{{"/a", 't'}}
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0)
        << errors;
}

TEST_F(RecordTable, TakesRecordsOfEverySize)
{
    EXPECT_EQ(inChild([] {
                  for (const std::size_t size : {0, 1, 1000, 4096, 100000})
                  {
                      const std::string payload(size, 'x');
                      if (putRecord(fault, "/a", payload, 0) != 0 ||
                          read(fault) != Map{{"/a", payload}})
                      {
                          return 1;
                      }
                  }
                  return 0;
              }),
              0);
}

} // namespace
} // namespace healthintf::host
