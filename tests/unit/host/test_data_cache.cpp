#include "cache_test.hpp"
#include "data_cache/data_cache.hpp"
#include "data_cache/record_table.hpp"

#include <gmock/gmock.h>

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace healthintf::host
{
namespace
{

using test::inChild;
using testing::HasSubstr;
using testing::Not;

class DataCache : public test::CacheTest
{};

/** How often a text is in another. */
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

TEST_F(DataCache, IsOpenedOnceInTheRuntimeFolder)
{
    EXPECT_EQ(inChild([this] {
                  return &dataCache() == &dataCache() &&
                                 std::filesystem::exists(cacheFolder() /
                                                         "data.mdb")
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(DataCache, IsOpenedAnewInAChild)
{
    EXPECT_EQ(
        inChild([] {
            putRecord(RecordKind::healthStatus, "/a", "parent");
            return inChild([] {
                if (putRecord(RecordKind::healthStatus, "/b", "child") != 0)
                {
                    return 1;
                }
                int found = 0;
                readRecords(RecordKind::healthStatus, {},
                            [&](std::string_view, const StoredRecord& record) {
                                found += record.owner == ProcessIdentity::self()
                                             ? 1
                                             : 10;
                            });
                return found == 11 ? 0 : 2;
            });
        }),
        0);
}

TEST_F(DataCache, CommitsWorkThatSucceedsAndNoOther)
{
    EXPECT_EQ(
        inChild([] {
            const auto write = [](const char* name, int result) {
                return writeCache([&](const Environment& cache,
                                      const Transaction& transaction) {
                    std::string text = name;
                    MDB_val key{text.size(), text.data()};
                    MDB_val value{text.size(), text.data()};
                    checkLmdb("mdb_put",
                              mdb_put(transaction.get(), cache.table(), &key,
                                      &value, 0));
                    return result;
                });
            };
            const auto has = [](const char* name) {
                return readCache([&](const Environment& cache,
                                     const Transaction& transaction) -> int {
                    std::string text = name;
                    Cursor cursor(transaction.get(), cache.table());
                    return cursor.find({text.size(), text.data()}) ? 1 : 0;
                });
            };
            return write("kept", 0) == 0 && write("dropped", 5) == 5 &&
                           has("kept") == 1 && has("dropped") == 0
                       ? 0
                       : 1;
        }),
        0);
}

TEST_F(DataCache, ReportsAFailureOnceAndWhatToDo)
{
    folder.write("file", "");
    setenv("HEALTHINTF_RUNTIME_DIR", (folder.path() / "file").c_str(), 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      int code = 0;
                      for (int i = 0; i < 3; ++i)
                      {
                          code = putRecord(RecordKind::healthStatus, "/a", "x");
                      }
                      return code;
                  },
                  &errors),
              ENOTDIR);
    EXPECT_EQ(count(errors, "\n"), 1u) << errors;
    EXPECT_THAT(errors,
                HasSubstr("data cache " + (folder.path() / "file").string()));
    EXPECT_THAT(errors, HasSubstr("see the folder's files and permissions"));
}

TEST_F(DataCache, IsTriedAgainAfterAFailure)
{
    const auto blocked = folder.write("blocked", "");
    setenv("HEALTHINTF_RUNTIME_DIR", blocked.c_str(), 1);
    EXPECT_EQ(inChild([&blocked] {
                  if (putRecord(RecordKind::healthStatus, "/a", "x") == 0)
                  {
                      return 1;
                  }
                  std::filesystem::remove(blocked);
                  return putRecord(RecordKind::healthStatus, "/a", "x");
              }),
              0);
}

TEST_F(DataCache, SaysThatItIsFullAndStillReads)
{
    setenv("HEALTHINTF_CACHE_MIB", "1", 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      int result = 0;
                      for (int i = 0; result == 0; ++i)
                      {
                          result = putRecord(RecordKind::faultEntry,
                                             std::to_string(i),
                                             std::string(1000, 'x'));
                      }
                      int found = 0;
                      const long read = readRecords(
                          RecordKind::faultEntry, {},
                          [&](std::string_view, const StoredRecord&) {
                              ++found;
                          });
                      return result == MDB_MAP_FULL && read == 0 && found > 500
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_EQ(count(errors, "\n"), 1u) << errors;
    EXPECT_THAT(errors,
                HasSubstr("it is full: raise HEALTHINTF_CACHE_MIB and restart "
                          "every process that uses it"));
}

TEST_F(DataCache, TakesRecordsAgainOnceThereIsRoom)
{
    setenv("HEALTHINTF_CACHE_MIB", "1", 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      int result = 0;
                      int stored = 0;
                      for (; result == 0; ++stored)
                      {
                          result = putRecord(RecordKind::faultEntry,
                                             std::to_string(stored),
                                             std::string(1000, 'x'));
                      }
                      // Everything can be removed, and then be stored again.
                      for (int round = 0; round < 3; ++round)
                      {
                          for (int i = 0; i < stored - 1; ++i)
                          {
                              if (removeRecord(RecordKind::faultEntry,
                                               std::to_string(i)) != 0)
                              {
                                  return 1;
                              }
                          }
                          for (int i = 0; i < stored - 1; ++i)
                          {
                              // Pages that were freed can be used one
                              // transaction later.
                              if (putRecord(RecordKind::faultEntry,
                                            std::to_string(i),
                                            std::string(1000, 'x')) != 0 &&
                                  i < stored * 3 / 4)
                              {
                                  return 2;
                              }
                          }
                      }
                      return 0;
                  },
                  &errors),
              0)
        << errors;
}

TEST_F(DataCache, RefusesAWrongSizeAndUsesTheUsualOne)
{
    for (const char* size : {"0", "-1", "x", "1x", "99999999999", ""})
    {
        setenv("HEALTHINTF_CACHE_MIB", size, 1);
        std::string errors;
        EXPECT_EQ(inChild(
                      [] {
                          MDB_envinfo info{};
                          mdb_env_info(dataCache().get(), &info);
                          return info.me_mapsize ==
                                         Environment::defaultCapacity +
                                             Environment::reserve
                                     ? 0
                                     : 1;
                      },
                      &errors),
                  0);
        EXPECT_THAT(errors, HasSubstr("is no number from 1 to"));
    }
}

TEST_F(DataCache, NamesTheRemedyOfEachFailure)
{
    const auto remedy = [](const std::exception& failure) {
        std::string errors;
        inChild(
            [&failure] {
                reportCacheFailure(failure);
                return 0;
            },
            &errors);
        return errors;
    };
    EXPECT_THAT(remedy(LmdbError("x", MDB_CORRUPTED)),
                HasSubstr("it is damaged: restart every process"));
    EXPECT_THAT(remedy(LmdbError("x", MDB_MAP_RESIZED)),
                HasSubstr("it is damaged: restart every process"));
    EXPECT_THAT(remedy(LmdbError("x", ENOSPC)),
                HasSubstr("its filesystem is full"));
    EXPECT_THAT(remedy(LmdbError("x", MDB_BAD_VALSIZE)),
                HasSubstr("an object path is too long"));
    EXPECT_THAT(remedy(LmdbError("x", MDB_READERS_FULL)),
                HasSubstr("too many readers"));
    EXPECT_THAT(remedy(std::system_error(EACCES, std::generic_category())),
                HasSubstr("let this user write to the folder"));
}

TEST_F(DataCache, HasANumberForEachFailure)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(reportCacheFailure(LmdbError("x", MDB_MAP_FULL)), MDB_MAP_FULL);
    EXPECT_EQ(
        reportCacheFailure(std::system_error(EROFS, std::generic_category())),
        EROFS);
    EXPECT_EQ(reportCacheFailure(std::bad_alloc()), ENOMEM);
    EXPECT_EQ(reportCacheFailure(std::runtime_error("x")), EIO);
    testing::internal::GetCapturedStderr();
}

TEST_F(DataCache, ReportsAFailureAgainAfterASuccess)
{
    testing::internal::CaptureStderr();
    reportCacheFailure(LmdbError("x", ENOSPC));
    reportCacheFailure(LmdbError("x", ENOSPC));
    noteCacheSuccess();
    reportCacheFailure(LmdbError("x", ENOSPC));
    EXPECT_EQ(count(testing::internal::GetCapturedStderr(), "\n"), 2u);
}

TEST_F(DataCache, OutlivesReadersThatAreKilledWithATransactionOpen)
{
    setenv("HEALTHINTF_CACHE_MIB", "1", 1);
    EXPECT_EQ(inChild([] {
                  putRecord(RecordKind::faultEntry, "first", "x");
                  test::Child reader([](const test::Child::Parent& parent) {
                      return readCache(
                          [&](const Environment&, const Transaction&) -> int {
                              parent.tell("reading");
                              test::Child::Parent::waitForever();
                          });
                  });
                  reader.hear();
                  reader.kill();
                  // The pages that the dead reader saw would fill the cache in
                  // time.
                  for (int i = 0; i < 5000; ++i)
                  {
                      const int result = putRecord(RecordKind::faultEntry,
                                                   std::to_string(i % 10),
                                                   std::string(3000, 'x'));
                      if (result != 0)
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
