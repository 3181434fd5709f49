#include "child.hpp"
#include "data_cache/environment.hpp"
#include "raw_record.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::expectOnSmallFilesystem;
using test::inChild;
using test::put;
using testing::HasSubstr;

constexpr std::size_t capacity = 4UL << 20;

void removeRecord(Environment& environment, std::string key)
{
    Transaction transaction(environment.get(), Transaction::Kind::write);
    environment.makeRoomForChange();
    MDB_val k{key.size(), key.data()};
    checkLmdb("mdb_del",
              mdb_del(transaction.get(), environment.table(), &k, nullptr));
    transaction.commit();
}

bool has(const Environment& environment, std::string key)
{
    const Transaction transaction(environment.get(), Transaction::Kind::read);
    Cursor cursor(transaction.get(), environment.table());
    return cursor.find({key.size(), key.data()});
}

class DataCacheFolder : public testing::Test
{
  protected:
    /** A process that has the folder open and put a record there. */
    Child user(const std::string& key)
    {
        return Child([this, key](const Child::Parent& parent) {
            Environment environment(path, capacity);
            put(environment, key, "value");
            parent.tell("open");
            Child::Parent::waitForever();
            return 0;
        });
    }

    /** Whether one that opens the folder now finds a record there. */
    bool holds(const std::string& key) const
    {
        return inChild([this, &key] {
                   const Environment environment(path, capacity);
                   return has(environment, key) ? 0 : 1;
               }) == 0;
    }

    test::TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "deep" / "datacache";
};

TEST_F(DataCacheFolder, IsMadeWhenItIsNotThere)
{
    EXPECT_EQ(inChild([this] {
                  Environment environment(path, capacity);
                  put(environment, "key", "value");
                  return has(environment, "key") ? 0 : 1;
              }),
              0);
}

TEST_F(DataCacheFolder, IsSharedWithWhoeverHasItOpen)
{
    Child other = user("key");
    other.hear();
    EXPECT_TRUE(holds("key"));
}

TEST_F(DataCacheFolder, KeepsWhatAKilledUserLeftWhileOthersUseIt)
{
    Child other = user("other");
    other.hear();
    Child killed = user("killed");
    killed.hear();
    killed.kill();
    EXPECT_TRUE(holds("killed"));
}

TEST_F(DataCacheFolder, StartsEmptyWhenNobodyUsesIt)
{
    Child killed = user("key");
    killed.hear();
    killed.kill();
    EXPECT_FALSE(holds("key"));
}

TEST_F(DataCacheFolder, IsSetAsideAndMadeAnewWhenItIsDamaged)
{
    std::filesystem::create_directories(path);
    folder.write("deep/datacache/data.mdb", std::string(8192, 'x'));
    std::string errors;
    EXPECT_EQ(inChild(
                  [this] {
                      Environment environment(path, capacity);
                      put(environment, "key", "value");
                      return has(environment, "key") ? 0 : 1;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, HasSubstr("is damaged or of another version: it was "
                                  "set aside as"));
    EXPECT_EQ(std::filesystem::file_size(path / "data.mdb.damaged"), 8192u);
}

TEST_F(DataCacheFolder, IsMadeAnewWhenItsFilesAreCutShort)
{
    for (const std::size_t size : {0UL, 1UL, 100UL, 4096UL})
    {
        std::filesystem::create_directories(path);
        folder.write("deep/datacache/data.mdb", std::string(size, '\0'));
        folder.write("deep/datacache/lock.mdb", std::string(size, '\1'));
        std::string errors;
        EXPECT_EQ(inChild(
                      [this] {
                          Environment environment(path, capacity);
                          put(environment, "key", "value");
                          return has(environment, "key") ? 0 : 1;
                      },
                      &errors),
                  0)
            << size << ": " << errors;
    }
}

TEST_F(DataCacheFolder, RefusesAnotherVersionThatIsInUse)
{
    Child other([this](const Child::Parent& parent) {
        Environment environment(path, capacity);
        put(environment, "version", std::string("\x63\0\0\0", 4));
        parent.tell("open");
        Child::Parent::waitForever();
        return 0;
    });
    other.hear();
    std::string errors;
    EXPECT_EQ(inChild(
                  [this] {
                      Environment environment(path, capacity);
                      return 0;
                  },
                  &errors),
              125);
    EXPECT_THAT(errors, HasSubstr("is in use in version 99 and this program "
                                  "needs version 1: restart every process "
                                  "that uses it"));
}

TEST_F(DataCacheFolder, ReportsWhatItCannotMake)
{
    folder.write("file", "");
    EXPECT_THROW(Environment(folder.path() / "file" / "below", capacity),
                 std::system_error);
}

TEST_F(DataCacheFolder, ReportsAFolderThatItMayNotWriteTo)
{
    using std::filesystem::perms;
    std::filesystem::create_directories(path);
    std::filesystem::permissions(path, perms::owner_read | perms::owner_exec);
    std::string errors;
    EXPECT_EQ(inChild(
                  [this] {
                      test::leaveRoot();
                      const Environment environment(path, capacity);
                      return 0;
                  },
                  &errors),
              125);
    EXPECT_THAT(errors, HasSubstr("Permission denied"));
}

TEST_F(DataCacheFolder, GivesAnErrorCodeWhenItIsFull)
{
    EXPECT_EQ(
        inChild([this] {
            Environment environment(path, 1UL << 20);
            try
            {
                for (int i = 0;; ++i)
                {
                    put(environment, std::to_string(i), std::string(1000, 'x'));
                }
            }
            catch (const LmdbError& e)
            {
                // What is there can still be read.
                return e.code() == MDB_MAP_FULL && has(environment, "0") ? 0
                                                                         : 1;
            }
        }),
        0);
}

TEST_F(DataCacheFolder, TakesItsSizeFromTheFirstUser)
{
    Child first([this](const Child::Parent& parent) {
        const Environment environment(path, 8UL << 20);
        parent.tell("open");
        Child::Parent::waitForever();
        return 0;
    });
    first.hear();
    EXPECT_EQ(inChild([this] {
                  const Environment environment(path, 1UL << 20);
                  MDB_envinfo info{};
                  mdb_env_info(environment.get(), &info);
                  return info.me_mapsize == (8UL << 20) + Environment::reserve
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(DataCacheFolder, GivesAnErrorWhenItsFilesystemIsFull)
{
    expectOnSmallFilesystem(folder.path(), "size=3m", [this] {
        Environment environment(path, capacity);
        try
        {
            for (int i = 0;; ++i)
            {
                put(environment, std::to_string(i), std::string(1000, 'x'));
            }
        }
        catch (const std::system_error& e)
        {
            return e.code().value() == ENOSPC && has(environment, "0") ? 0 : 1;
        }
    });
}

TEST_F(DataCacheFolder, GivesAnErrorForARecordThatItsFilesystemHasNotRoomFor)
{
    expectOnSmallFilesystem(folder.path(), "size=3m", [this] {
        Environment environment(path, capacity);
        put(environment, "small", "value");
        try
        {
            put(environment, "large", std::string(3UL << 20, 'x'));
            return 1;
        }
        catch (const std::system_error& e)
        {
            return e.code().value() == ENOSPC && has(environment, "small") ? 0
                                                                           : 2;
        }
    });
}

TEST_F(DataCacheFolder, CanBeEmptiedOnAFullFilesystem)
{
    expectOnSmallFilesystem(folder.path(), "size=3m", [this] {
        Environment environment(path, capacity);
        int stored = 0;
        try
        {
            for (;; ++stored)
            {
                put(environment, std::to_string(stored),
                    std::string(1000, 'x'));
            }
        }
        catch (const std::system_error&)
        {
            for (int i = 0; i < stored; ++i)
            {
                removeRecord(environment, std::to_string(i));
            }
        }
        return stored > 100 && !has(environment, "0") ? 0 : 1;
    });
}

TEST_F(DataCacheFolder, LetsOthersReadAndChangeItOnAFullFilesystem)
{
    expectOnSmallFilesystem(folder.path(), "size=3m", [this] {
        Child filler([this](const Child::Parent& parent) {
            Environment environment(path, capacity);
            try
            {
                for (int i = 0;; ++i)
                {
                    put(environment, std::to_string(i), std::string(1000, 'x'));
                }
            }
            catch (const std::system_error&)
            {
                parent.tell("full");
            }
            Child::Parent::waitForever();
            return 0;
        });
        filler.hear();
        Environment environment(path, 0);
        if (!has(environment, "0"))
        {
            return 1;
        }
        removeRecord(environment, "0");
        return has(environment, "0") ? 2 : 0;
    });
}

TEST_F(DataCacheFolder, GivesAnErrorWhenThereIsNoRoomToOpenIt)
{
    for (const char* options :
         {"size=4k", "size=16k", "size=44k", "size=1m", "size=2m"})
    {
        expectOnSmallFilesystem(folder.path(), options, [this] {
            try
            {
                const Environment environment(path, capacity);
                return 1;
            }
            catch (const std::system_error& e)
            {
                return e.code().value() == ENOSPC ? 0 : 2;
            }
            catch (const LmdbError& e)
            {
                return e.code() == ENOSPC ? 0 : 3;
            }
        });
    }
}

TEST_F(DataCacheFolder, SurvivesUsersThatAreKilledAtAnyInstant)
{
    Child keeper = user("keeper");
    keeper.hear();
    for (int round = 0; round < 40; ++round)
    {
        Child writer([this, round](const Child::Parent& parent) {
            Environment environment(path, capacity);
            parent.tell("open");
            for (int i = 0;; ++i)
            {
                put(environment, std::to_string((i * 7 + round) % 300),
                    std::string(200 + (i % 500), 'x'));
            }
            return 0;
        });
        writer.hear();
        Child reader([this](const Child::Parent& parent) {
            Environment environment(path, capacity);
            parent.tell("open");
            for (;;)
            {
                has(environment, "1");
            }
            return 0;
        });
        reader.hear();
        writer.kill();
        reader.kill();
    }
    EXPECT_EQ(inChild([this] {
                  Environment environment(path, capacity);
                  put(environment, "after", "value");
                  return has(environment, "after") && has(environment, "keeper")
                             ? 0
                             : 1;
              }),
              0);
}

} // namespace
} // namespace healthintf::host
