// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "file_content.hpp"
#include "logmgr/sel_file.hpp"
#include "process.hpp"
#include "storage/files.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace healthintf::logmgr
{
namespace
{

namespace fs = std::filesystem;
using test::readContent;

constexpr std::size_t mapSize = 16UL << 20;

class LogFile : public testing::Test
{
  protected:
    fs::path file() const
    {
        return folder.path() / "data.mdb";
    }

    /** Writes so much that the file has more than its meta pages. */
    void fill() const
    {
        const EnvironmentPtr environment = openLogFile(folder.path(), mapSize);
        Transaction transaction(environment.get(), Transaction::Kind::write);
        MDB_dbi table = 0;
        checkLmdb("mdb_dbi_open",
                  mdb_dbi_open(transaction.get(), nullptr, 0, &table));
        std::string bytes(100000, 'x');
        MDB_val key{3, bytes.data()};
        MDB_val value{bytes.size(), bytes.data()};
        checkLmdb("mdb_put",
                  mdb_put(transaction.get(), table, &key, &value, 0));
        transaction.commit();
    }

    test::TemporaryFolder folder;
};

TEST_F(LogFile, IsMadeAndOpenedAgain)
{
    fill();
    EXPECT_NE(openLogFile(folder.path(), mapSize), nullptr);
}

TEST_F(LogFile, IsRecreatedWhenItIsEmpty)
{
    folder.write("data.mdb", "");
    EXPECT_NE(openLogFile(folder.path(), mapSize), nullptr);
}

TEST_F(LogFile, IsNamedWhenItMayNotBeOpened)
{
    fill();
    ASSERT_EQ(chmod(file().c_str(), 0), 0);
    const auto open = [this] {
        test::leaveRoot();
        try
        {
            openLogFile(folder.path(), mapSize);
        }
        catch (const LmdbError& e)
        {
            EXPECT_EQ(e.code().value(), EACCES);
            EXPECT_EQ(e.what(), "mdb_env_open of " + file().string() +
                                    ": Permission denied");
            return testing::Test::HasFailure() ? 1 : 0;
        }
        return 2;
    };
    ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
    EXPECT_EQ(test::inChild(open), 0);
}

TEST_F(LogFile, IsDamagedWhenPagesAreMissing)
{
    fill();
    const std::size_t whole = fs::file_size(file());
    for (const std::size_t size :
         {whole - 1, whole - 4096, std::size_t{8192}, std::size_t{8191},
          std::size_t{4096}, std::size_t{1}})
    {
        fs::resize_file(file(), size);
        EXPECT_THROW(openLogFile(folder.path(), mapSize), DamagedFile) << size;
    }
}

TEST_F(LogFile, IsDamagedWhenItIsNoDatabase)
{
    folder.write("data.mdb", std::string(100000, 'x'));
    try
    {
        openLogFile(folder.path(), mapSize);
        ADD_FAILURE() << "opened";
    }
    catch (const std::exception& e)
    {
        EXPECT_TRUE(isDamage(e)) << e.what();
    }
}

TEST_F(LogFile, IsNotDamagedBecauseItCannotBeOpened)
{
    fs::create_directory(file());
    try
    {
        openLogFile(folder.path(), mapSize);
        ADD_FAILURE() << "opened";
    }
    catch (const std::exception& e)
    {
        EXPECT_FALSE(isDamage(e)) << e.what();
    }
    EXPECT_FALSE(isDamage(LmdbError("call", ENOSPC)));
    EXPECT_FALSE(isDamage(LmdbError("call", MDB_MAP_FULL)));
}

TEST_F(LogFile, GetsBlocksAllocatedWithoutLosingContent)
{
    fill();
    {
        const EnvironmentPtr environment = openLogFile(folder.path(), mapSize);
        allocateLogFile(environment.get(), 1UL << 20, folder.path());
    }
    EXPECT_EQ(fs::file_size(file()), 1UL << 20);
    EXPECT_NE(openLogFile(folder.path(), mapSize), nullptr);
}

TEST_F(LogFile, IsSetAsideUnderAnotherName)
{
    fill();
    const fs::path aside = setLogAside(folder.path());
    EXPECT_TRUE(fs::exists(aside));
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(LogFile, IsReplacedByAnUnfinishedOneOnlyWhenItIsMissing)
{
    const fs::path made = folder.path() / "data.mdb.new";
    EXPECT_FALSE(settleUnfinishedFile(folder.path())) << "there is none";
    folder.write("data.mdb.new", "unfinished");
    EXPECT_TRUE(settleUnfinishedFile(folder.path()));
    EXPECT_EQ(readContent(file()), "unfinished");
    EXPECT_FALSE(fs::exists(made));
    folder.write("data.mdb.new", "another");
    EXPECT_FALSE(settleUnfinishedFile(folder.path()));
    EXPECT_EQ(readContent(file()), "unfinished");
    EXPECT_FALSE(fs::exists(made));
}

TEST_F(LogFile, CreatesItsFolderAndItsParents)
{
    const fs::path deep = folder.path() / "a" / "b" / "c";
    EXPECT_EQ(makeDurableFolder(deep), deep);
    EXPECT_TRUE(fs::is_directory(deep));
    EXPECT_EQ(makeDurableFolder(deep), deep) << "when it is there already";
    folder.write("file", "");
    EXPECT_THROW(makeDurableFolder(folder.path() / "file" / "below"),
                 std::system_error);
}

TEST(Trial, EndsWithTheProcessThatMadeIt)
{
    test::Child parent([](const test::Child::Parent& reporter) {
        crashesProcess([&reporter] {
            reporter.tell(std::to_string(getpid()));
            test::Child::Parent::waitForever();
        });
        return 0;
    });
    const pid_t trial = std::stoi(parent.hear());
    parent.kill();
    EXPECT_TRUE(test::endsInTime(trial));
}

TEST(Trial, DistinguishesACrashFromOtherEnds)
{
    EXPECT_TRUE(crashesProcess([] {
        std::raise(SIGSEGV);
    }));
    EXPECT_TRUE(crashesProcess([] {
        std::abort();
    }));
    EXPECT_FALSE(crashesProcess([] {}));
    EXPECT_FALSE(crashesProcess([] {
        throw std::runtime_error("damaged");
    }));
    EXPECT_FALSE(crashesProcess([] {
        std::raise(SIGKILL);
    })) << "somebody else ended it";
}

} // namespace
} // namespace healthintf::logmgr
