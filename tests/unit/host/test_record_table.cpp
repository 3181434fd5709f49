#include "cache_test.hpp"
#include "data_cache/limits.hpp"
#include "data_cache/record_table.hpp"

#include <platform/data_abstraction/results.hpp>

#include <gmock/gmock.h>

#include <cerrno>
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
    /** A process that owns a record and lives. */
    static Child owner(RecordKind kind, const std::string& path)
    {
        return Child([kind, path](const Child::Parent& parent) {
            parent.tell(std::to_string(putRecord(kind, path, "theirs")));
            Child::Parent::waitForever();
            return 0;
        });
    }

    static std::map<std::string, std::string>
    read(RecordKind kind, const std::vector<std::string>& prefixes = {},
         long expected = DataAbstraction::readOk)
    {
        std::map<std::string, std::string> found;
        const long result =
            readRecords(kind, prefixes,
                        [&](std::string_view path, const StoredRecord& record) {
                            found.emplace(path, record.payload);
                        });
        return result == expected ? found
                                  : std::map<std::string, std::string>{
                                        {"result", std::to_string(result)}};
    }
};

using Map = std::map<std::string, std::string>;

TEST_F(RecordTable, KeepsRecordsByKindAndPath)
{
    EXPECT_EQ(inChild([] {
                  putRecord(fault, "/a", "fault");
                  putRecord(health, "/a", "health");
                  return read(fault) == Map{{"/a", "fault"}} &&
                                 read(health) == Map{{"/a", "health"}}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, AnswersThatThereAreNoRecordsOfAKind)
{
    EXPECT_EQ(
        inChild([] {
            if (read(health, {}, DataAbstraction::readNoRecords) != Map{})
            {
                return 1;
            }
            putRecord(fault, "/a", "");
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
                  putRecord(fault, "/a", "one");
                  putRecord(fault, "/a", "two, and longer");
                  return read(fault) == Map{{"/a", "two, and longer"}} ? 0 : 1;
              }),
              0);
}

TEST_F(RecordTable, ReadsByPrefix)
{
    EXPECT_EQ(inChild([] {
                  for (const char* path : {"/a", "/a/b", "/ab", "/b", "/b/c"})
                  {
                      putRecord(fault, path, path);
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

TEST_F(RecordTable, ReadsTheRecordsOfWholePathsAndVisitsNoOther)
{
    EXPECT_EQ(inChild([] {
                  putRecord(health, "/a", "1");
                  putRecord(health, "/a/b", "2");
                  putRecord(health, "/a/b/c", "3");
                  putRecord(fault, "/a/b", "4");
                  Map found;
                  const auto add = [&](std::string_view path,
                                       const StoredRecord& record) {
                      found.emplace(path, record.payload);
                  };
                  const std::string tooLong(maxRecordPath + 1, 'a');
                  if (readRecords(health, {"/a/b", "/", tooLong}, add,
                                  Wanted::wholePaths) !=
                      DataAbstraction::readOk)
                  {
                      return 1;
                  }
                  return found == Map{{"/a/b", "2"}} ? 0 : 2;
              }),
              0);
}

TEST_F(RecordTable, EditsARecordInPlace)
{
    EXPECT_EQ(
        inChild([] {
            putRecord(fault, "/a", "one");
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

/** The number of the last transaction that changed a page. */
std::size_t lastTransaction()
{
    MDB_envinfo info{};
    mdb_env_info(dataCache().get(), &info);
    return info.me_last_txnid;
}

/** Makes a record what is given, and says whether that took a transaction. */
bool tookATransaction(const char* text)
{
    const std::size_t before = lastTransaction();
    editRecord(health, "/a", [=](std::string& payload) {
        payload = text;
        return 0;
    });
    return lastTransaction() != before;
}

TEST_F(RecordTable, ChangesASingleByteInPlace)
{
    EXPECT_EQ(inChild([] {
                  putRecord(health, "/a", "one");
                  return !tookATransaction("one") && !tookATransaction("oTe") &&
                                 read(health) == Map{{"/a", "oTe"}} &&
                                 !tookATransaction("oTo") &&
                                 read(health) == Map{{"/a", "oTo"}}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, ChangesBytesThatAreNotLiveInATransaction)
{
    EXPECT_EQ(inChild([] {
                  putRecord(health, "/a", "0000000");
                  return !tookATransaction("0001000") &&
                                 tookATransaction("0001100") &&
                                 tookATransaction("0001101") &&
                                 read(health) == Map{{"/a", "0001101"}}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, ChangesMoreThanAByteInATransaction)
{
    EXPECT_EQ(inChild([] {
                  putRecord(health, "/a", "one");
                  return tookATransaction("two") &&
                                 read(health) == Map{{"/a", "two"}} &&
                                 tookATransaction("tw") &&
                                 read(health) == Map{{"/a", "tw"}} &&
                                 tookATransaction("") &&
                                 read(health) == Map{{"/a", ""}}
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, ShowsAByteChangedInPlaceToOtherProcesses)
{
    Child other([](const Child::Parent& parent) {
        putRecord(health, "/a", "one");
        parent.tell("put");
        const bool whole = tookATransaction("onE");
        parent.tell(whole ? "transaction" : "in place");
        Child::Parent::waitForever();
        return 0;
    });
    ASSERT_EQ(other.hear(), "put");
    ASSERT_EQ(other.hear(), "in place");
    EXPECT_EQ(inChild([] {
                  return read(health) == Map{{"/a", "onE"}} ? 0 : 1;
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
                  putRecord(fault, "/a", "");
                  putRecord(health, "/a", "");
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

TEST_F(RecordTable, LeavesWhatBelongsToAnother)
{
    Child other = owner(fault, "/a");
    ASSERT_EQ(other.hear(), "0");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      const auto spoil = [](std::string& payload) {
                          payload = "mine";
                          return 0;
                      };
                      return editRecord(fault, "/a", spoil) == EPERM &&
                                     removeRecord(fault, "/a") == EPERM &&
                                     read(fault) == Map{{"/a", "theirs"}}
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, testing::HasSubstr("another process holds this key"));
}

TEST_F(RecordTable, TakesARecordOverByCreatingIt)
{
    Child other = owner(health, "/a");
    ASSERT_EQ(other.hear(), "0");
    EXPECT_EQ(inChild([] {
                  return putRecord(health, "/a", "mine") == 0 &&
                                 read(health) == Map{{"/a", "mine"}} &&
                                 removeRecord(health, "/a") == 0
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, StandsBackBehindALivingProcessWhenTold)
{
    Child other = owner(health, "/a");
    ASSERT_EQ(other.hear(), "0");
    EXPECT_EQ(inChild([] {
                  standBack();
                  return putRecord(health, "/a", "mine") == EEXIST &&
                                 read(health) == Map{{"/a", "theirs"}} &&
                                 putRecord(health, "/b", "mine") == 0 &&
                                 putRecord(health, "/b", "again") == 0
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(RecordTable, DoesNotStandBackBehindADeadProcess)
{
    Child keeper = owner(health, "/keeper");
    keeper.hear();
    Child dead = owner(health, "/a");
    ASSERT_EQ(dead.hear(), "0");
    dead.kill();
    EXPECT_EQ(inChild([] {
                  standBack();
                  return putRecord(health, "/a", "mine");
              }),
              0);
}

TEST_F(RecordTable, RefusesAPathThatIsTooLong)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      return putRecord(fault, std::string(510, '/'), "") == 0 &&
                                     putRecord(fault, std::string(511, '/'),
                                               "") == MDB_BAD_VALSIZE &&
                                     read(fault, {"/"}).size() == 1
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_NE(errors.find("an object path is too long"), std::string::npos);
}

TEST_F(RecordTable, KnowsWhoOwnsARecord)
{
    EXPECT_EQ(inChild([] {
                  putRecord(fault, "/a", "");
                  bool own = false;
                  readRecords(
                      fault, {},
                      [&](std::string_view, const StoredRecord& record) {
                          own = record.owner == ProcessIdentity::self();
                      });
                  return own ? 0 : 1;
              }),
              0);
}

TEST_F(RecordTable, LeavesOutARecordThatCannotBeRead)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      putRecord(fault, "/a", "good");
                      writeCache([](const Environment& cache,
                                    const Transaction& transaction) {
                          std::string key = "f/bad";
                          MDB_val k{key.size(), key.data()};
                          MDB_val v{3, key.data()};
                          checkLmdb("mdb_put",
                                    mdb_put(transaction.get(), cache.table(),
                                            &k, &v, 0));
                          return 0;
                      });
                      return read(fault) == Map{{"/a", "good"}} ? 0 : 1;
                  },
                  &errors),
              0);
    EXPECT_NE(errors.find("the record of /bad was left out"),
              std::string::npos);
}

TEST_F(RecordTable, TakesRecordsOfEverySize)
{
    EXPECT_EQ(inChild([] {
                  for (const std::size_t size : {0, 1, 1000, 4096, 100000})
                  {
                      const std::string payload(size, 'x');
                      if (putRecord(fault, "/a", payload) != 0 ||
                          read(fault) != Map{{"/a", payload}})
                      {
                          return 1;
                      }
                  }
                  return 0;
              }),
              0);
}

TEST(StoredRecordBytes, MustHoldAnOwner)
{
    EXPECT_THROW(parseRecord("too short"), std::out_of_range);
    EXPECT_THROW(parseRecord(""), std::out_of_range);
    EXPECT_EQ(parseRecord(std::string(12, '\0')).payload, "");
}

} // namespace
} // namespace healthintf::host
