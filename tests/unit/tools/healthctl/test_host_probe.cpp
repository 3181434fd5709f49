// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <doctor/host_probe.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace healthintf::healthctl
{
namespace
{

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::IsEmpty;

/** A user id that no process uses and no group contains. */
constexpr uid_t stranger = 64999;
constexpr mode_t forAll = 0777;
constexpr mode_t forOwner = 0700;

class HostProbe : public testing::Test
{
  protected:
    void SetUp() override
    {
        setenv("HEALTHINTF_RUNTIME_DIR", folder.path().c_str(), 1);
        setenv("HEALTHINTF_STATE_DIR", folder.path().c_str(), 1);
        chmod(folder.path().c_str(), forAll);
    }

    void TearDown() override
    {
        unsetenv("HEALTHINTF_RUNTIME_DIR");
        unsetenv("HEALTHINTF_STATE_DIR");
    }

    test::TemporaryFolder folder;
};

TEST_F(HostProbe, DoesNotCreateTheDataCache)
{
    const CacheState cache = probeCache();
    EXPECT_EQ(cache.folder, folder.path() / "datacache");
    EXPECT_THAT(cache.failure, IsEmpty());
    EXPECT_FALSE(cache.there);
    EXPECT_FALSE(cache.inUse);
    EXPECT_FALSE(cache.space);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(HostProbe, FindsADataCacheThatNobodyHasOpen)
{
    fs::create_directory(folder.path() / "datacache");
    const CacheState cache = probeCache();
    EXPECT_TRUE(cache.there);
    EXPECT_TRUE(cache.usable);
    EXPECT_FALSE(cache.inUse);
}

TEST_F(HostProbe, FindsADataCacheWhoseFolderAboveKeepsThisUserOut)
{
    fs::create_directory(folder.path() / "datacache");
    chmod(folder.path().c_str(), 0);
    const auto probe = [] {
        test::leaveRoot();
        const CacheState cache = probeCache();
        EXPECT_THAT(cache.failure, IsEmpty());
        EXPECT_TRUE(cache.there);
        EXPECT_FALSE(cache.usable);
        return testing::Test::HasFailure() ? 1 : 0;
    };
    EXPECT_EQ(test::inChild(probe), 0);
    chmod(folder.path().c_str(), forAll);
}

TEST_F(HostProbe, NamesTheProcessesThatHoldOneKey)
{
    const auto holder = [](const test::Child::Parent& parent) {
        datacache_healthstatus_create("/a", {});
        parent.tell("ready");
        test::Child::Parent::waitForever();
        return 0;
    };
    test::Child first(holder);
    first.hear();
    EXPECT_EQ(probeSharedKeys().front().grade, Grade::ok);
    test::Child second(holder);
    second.hear();
    const Findings findings = probeSharedKeys();
    ASSERT_EQ(findings.size(), 1);
    EXPECT_EQ(findings.front().grade, Grade::warning);
    for (const pid_t process : {first.pid(), second.pid()})
    {
        EXPECT_THAT(
            findings.front().text,
            testing::HasSubstr("[" + std::to_string(process) + "] (user "));
    }
}

TEST_F(HostProbe, ReadsTheFreeSpaceOfTheFilesystems)
{
    test::expectOnSmallFilesystem(folder.path(), "size=64k", [this] {
        fs::create_directory(folder.path() / "datacache");
        constexpr uint64_t most = 64 << 10;
        const uint64_t cache = probeCache().freeBytes;
        const uint64_t state = probeStateFolder(logFolder, getuid()).freeBytes;
        return cache > 0 && cache <= most && cache == state ? 0 : 1;
    });
}

TEST_F(HostProbe, FindsFilesystemsThatHoldNoMoreFiles)
{
    const auto expectLack = [this](bool lacks) {
        return [this, lacks] {
            fs::create_directory(folder.path() / "datacache");
            return probeCache().lacksFiles == lacks &&
                           probeStateFolder(logFolder, getuid()).lacksFiles ==
                               lacks
                       ? 0
                       : 1;
        };
    };
    // The mounted folder and the one of the data cache count, too.
    test::expectOnSmallFilesystem(folder.path(), "nr_inodes=2",
                                  expectLack(true));
    test::expectOnSmallFilesystem(folder.path(), "nr_inodes=3",
                                  expectLack(false));
    constexpr const char* unlimited = "nr_inodes=0";
    test::expectOnSmallFilesystem(folder.path(), unlimited, expectLack(false));
}

TEST_F(HostProbe, LooksAtTheFolderInWhichThatOfTheLogWillBeMade)
{
    const StateFolder state = probeStateFolder(logFolder, getuid());
    EXPECT_THAT(state.folder.string(), EndsWith("/sel"));
    EXPECT_EQ(state.nearest, folder.path());
    EXPECT_TRUE(state.writable);
}

TEST_F(HostProbe, KnowsWhoMayWriteTheLog)
{
    EXPECT_TRUE(probeStateFolder(logFolder, stranger).writable);
    chmod(folder.path().c_str(), forOwner);
    EXPECT_FALSE(probeStateFolder(logFolder, stranger).writable);
    EXPECT_TRUE(probeStateFolder(logFolder, getuid()).writable);
    EXPECT_TRUE(probeStateFolder(logFolder, 0).writable);
}

TEST_F(HostProbe, FindsAFolderAboveTheLogThatKeepsLogmgrOut)
{
    const fs::path log = folder.path() / "sel";
    fs::create_directory(log);
    chmod(log.c_str(), forAll);
    EXPECT_TRUE(probeStateFolder(logFolder, stranger).closedFolder.empty());
    chmod(folder.path().c_str(), forOwner);
    EXPECT_EQ(probeStateFolder(logFolder, stranger).closedFolder,
              fs::canonical(folder.path()));
    EXPECT_TRUE(probeStateFolder(logFolder, getuid()).closedFolder.empty());
    EXPECT_TRUE(probeStateFolder(logFolder, 0).closedFolder.empty());
}

TEST_F(HostProbe, FindsAFileOfTheLogThatLogmgrMayNotWriteTo)
{
    constexpr mode_t readable = 0644;
    constexpr mode_t open = 0666;
    fs::create_directory(folder.path() / "sel");
    for (const char* name : {"sel/data.mdb", "sel/lock"})
    {
        const fs::path file = folder.write(name, "");
        chmod(file.c_str(), readable);
        EXPECT_EQ(probeStateFolder(logFolder, stranger).closedFile, file);
        EXPECT_EQ(probeStateFolder(logFolder, getuid()).closedFile, "");
        EXPECT_EQ(probeStateFolder(logFolder, 0).closedFile, "");
        chmod(file.c_str(), open);
        EXPECT_EQ(probeStateFolder(logFolder, stranger).closedFile, "");
    }
}

TEST_F(HostProbe, LetsTheOwnerOfTheLogsFolderWriteThereWhileLogmgrDoesNotRun)
{
    const fs::path log = folder.path() / "sel";
    fs::create_directory(log);
    chmod(log.c_str(), forOwner);
    const std::string owner = probeStateFolder(logFolder, getuid()).user;
    const auto probe = [&owner] {
        test::leaveRoot();
        const StateFolder state = probeStateFolder(logFolder, std::nullopt);
        EXPECT_EQ(state.user, owner);
        EXPECT_TRUE(state.writable);
        return testing::Test::HasFailure() ? 1 : 0;
    };
    EXPECT_EQ(test::inChild(probe), 0);
}

TEST_F(HostProbe, KnowsWhoMayWriteWhatTheServicesKeep)
{
    for (const KeptFolder* kept : keptFolders)
    {
        SCOPED_TRACE(kept->check);
        const fs::path path = folder.path() / kept->name;
        fs::create_directory(path);
        chmod(path.c_str(), forOwner);
        EXPECT_EQ(probeStateFolder(*kept, stranger).folder, path);
        EXPECT_FALSE(probeStateFolder(*kept, stranger).writable);
        chmod(path.c_str(), forAll);
        EXPECT_TRUE(probeStateFolder(*kept, stranger).writable);
    }
}

TEST_F(HostProbe, FindsThatNobodyWritesWhereAFileTakesTheFoldersPlace)
{
    folder.write("history", "");
    EXPECT_FALSE(probeStateFolder(historyFolder, 0).writable);
}

TEST_F(HostProbe, LooksForLastingFilesInTheStateFolderOnly)
{
    const fs::path other = folder.path() / "other";
    setenv("HEALTHINTF_RUNTIME_DIR", other.c_str(), 1);
    EXPECT_EQ(probeStateFolder(silenceFolder, 0).folder,
              folder.path() / "healthmgr");
    EXPECT_EQ(probeStateFolder(runtimeFolder, 0).folder, other / "healthmgr");
}

TEST_F(HostProbe, FindsAHistoryThatLogmgrMayNotWriteTo)
{
    const fs::path file = folder.write("history/history.db", "");
    chmod(file.c_str(), forOwner);
    EXPECT_EQ(probeStateFolder(historyFolder, stranger).closedFile, file);
    EXPECT_EQ(probeStateFolder(historyFolder, getuid()).closedFile, "");
}

TEST_F(HostProbe, LetsHealthmgrReplaceAFileThatItMayOnlyRead)
{
    constexpr mode_t readable = 0644;
    const fs::path file = folder.write("healthmgr/silences.toml", "");
    chmod(file.c_str(), forOwner);
    EXPECT_EQ(probeStateFolder(silenceFolder, stranger).closedFile, file);
    chmod(file.c_str(), readable);
    EXPECT_EQ(probeStateFolder(silenceFolder, stranger).closedFile, "");
}

TEST_F(HostProbe, NamesTheLibraryThatItRunsWith)
{
    const LibraryState library = probeLibrary();
    EXPECT_TRUE(fs::is_regular_file(library.file)) << library.file;
    EXPECT_THAT(library.version, testing::MatchesRegex("[0-9.]+"));
}

} // namespace
} // namespace healthintf::healthctl
