// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "file_content.hpp"
#include "sample_events.hpp"
#include "small_filesystem.hpp"
#include "store_test.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <optional>

namespace healthintf::logmgr
{
namespace
{

namespace fs = std::filesystem;
using test::Child;
using test::inChild;
using test::readContent;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Store : public StoreTest
{
  protected:
    /** The identifiers in a copy of the file. */
    std::vector<uint16_t> idsInCopy(const std::string& content) const
    {
        const test::TemporaryFolder other;
        other.write("data.mdb", content);
        SelStore copy(other.path());
        EXPECT_FALSE(fs::exists(other.path() / "data.mdb.damaged"));
        return idsIn(copy);
    }
};

TEST_F(Store, IsEmptyAtFirst)
{
    open();
    EXPECT_EQ(store->size(), 0U);
    EXPECT_EQ(store->next(), 0U);
    EXPECT_FALSE(store->state().overflow);
    EXPECT_EQ(store->state().lastAddition, 0U);
    EXPECT_THAT(idsIn(*store), IsEmpty());
}

TEST_F(Store, KeepsEntriesAndStateWhenItIsOpenedAgain)
{
    open();
    SELEntryProperties entry = nextEntry(*store, "Fan 7");
    entry.sensor.path = "/sensors/fan7";
    entry.record = sampleRecord();
    store->append(entry, 0, {5, 6, true});
    append(*store, 2);
    open();
    EXPECT_EQ(store->size(), 3U);
    EXPECT_EQ(store->state().lastAddition, 5U);
    EXPECT_EQ(store->state().lastErase, 6U);
    EXPECT_TRUE(store->state().overflow);
    store->read(0, [&](uint64_t sequence, const SELEntryProperties& read) {
        EXPECT_EQ(sequence, 0U);
        EXPECT_EQ(read.recordId, 1);
        EXPECT_EQ(read.sensor.name, entry.sensor.name);
        EXPECT_EQ(read.sensor.path, entry.sensor.path);
        EXPECT_EQ(read.record, entry.record);
        return false;
    });
    EXPECT_THAT(idsIn(*store), ElementsAre(1, 2, 3));
}

TEST_F(Store, DropsTheFirstEntriesInOneStepWithAnAddition)
{
    append(open(), 3);
    store->append(nextEntry(*store), 2, {});
    EXPECT_THAT(idsIn(*store), ElementsAre(3, 4));
    EXPECT_EQ(store->first(), 2U);
    open();
    EXPECT_THAT(idsIn(*store), ElementsAre(3, 4));
    store->append(nextEntry(*store), 2, {});
    EXPECT_THAT(idsIn(*store), ElementsAre(5));
}

TEST_F(Store, RestartsItsIdentifiersWhenItIsCleared)
{
    append(open(), 3);
    store->clear({1, 2, false});
    EXPECT_EQ(store->size(), 0U);
    append(*store, 1);
    open();
    EXPECT_THAT(idsIn(*store), ElementsAre(1));
    EXPECT_EQ(store->state().lastErase, 2U);
}

TEST_F(Store, ReadsFromAnEntryOn)
{
    append(open(), 5);
    std::vector<uint64_t> read;
    store->read(3, [&](uint64_t sequence, const SELEntryProperties&) {
        read.push_back(sequence);
        return true;
    });
    EXPECT_THAT(read, ElementsAre(3, 4));
}

TEST_F(Store, HasEveryAcknowledgedEntryWheneverThePowerFails)
{
    open();
    std::string before = writtenIn(file);
    std::vector<uint16_t> acknowledged;
    for (int i = 0; i < 60; ++i)
    {
        const uint64_t dropped = i % 7 == 6 ? 3 : 0;
        const SELEntryProperties entry =
            nextEntry(*store, std::string(i * 8, 'x'));
        store->append(entry, dropped, store->state());
        const std::string after = writtenIn(file);

        // The change's meta page, which is written last, never reached the
        // disk.
        constexpr std::size_t head = 8192;
        const std::string torn = before.substr(0, head) + after.substr(head);
        EXPECT_EQ(idsInCopy(torn), acknowledged);

        acknowledged.erase(acknowledged.begin(),
                           acknowledged.begin() +
                               static_cast<std::ptrdiff_t>(dropped));
        acknowledged.push_back(entry.recordId);
        EXPECT_EQ(idsInCopy(after), acknowledged);
        before = after;
    }
}

TEST_F(Store, WaitsForTheProcessThatHasItOpen)
{
    Child first([this](const Child::Parent& parent) {
        append(open(), 1);
        parent.tell("open");
        Child::Parent::waitForever();
        return 0;
    });
    first.hear();
    Child second([this](const Child::Parent& parent) {
        parent.tell("begin");
        append(open(), 1);
        return store->size() == 2 ? 0 : 1;
    });
    second.hear();
    first.kill();
    EXPECT_EQ(second.wait(), 0);
}

/** Uses up all free space of a filesystem. */
void fillUp(const fs::path& folder)
{
    std::ofstream stream(folder / "filler", std::ios::binary);
    const std::string block(4096, 'x');
    while (stream.write(block.data(), block.size()) && stream.flush())
    {}
}

TEST_F(Store, CanBeClearedOnAFullFilesystem)
{
    for (const char* size : {"size=4m", "size=5m", "size=6m"})
    {
        test::expectOnSmallFilesystem(folder.path(), size, [this] {
            open();
            int added = 0;
            try
            {
                for (;; ++added)
                {
                    append(*store, 1, std::string(500, 'x'));
                    if (added == 100)
                    {
                        fillUp(folder.path());
                    }
                }
            }
            catch (const std::system_error& e)
            {
                if (e.code().value() != ENOSPC)
                {
                    return 1;
                }
            }
            const auto held = static_cast<uint64_t>(added);
            if (added < 100 || store->size() != held ||
                idsIn(*store).size() != held || open().size() != held)
            {
                return 2;
            }
            store->setState({1, 2, true});
            store->clear({1, 3, false});
            if (open().size() != 0 || store->state().lastErase != 3)
            {
                return 3;
            }
            fs::remove(folder.path() / "filler");
            append(*store, 100, std::string(500, 'x'));
            return open().size() == 100 ? 0 : 4;
        });
    }
}

TEST_F(Store, IsRewrittenWhenItsFileIsGone)
{
    testing::internal::CaptureStderr();
    append(open(), 3);
    const uint64_t generation = store->generation();
    fs::remove(file);
    append(*store, 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the file of the log " + path.string() +
                          " was removed or replaced: it was written anew"));
    EXPECT_THAT(idsIn(open()), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(store->generation(), generation);
    fs::rename(path, folder.path() / "moved");
    store->restoreFile();
    EXPECT_THAT(idsIn(open()), ElementsAre(1, 2, 3, 4));
    EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
    EXPECT_FALSE(fs::exists(file.string() + ".new"));
}

TEST_F(Store, TakesTheFileThatWasToReplaceAMissingOne)
{
    const fs::path made = file.string() + ".new";
    append(open(), 3);
    store.reset();
    // As when the process is killed before it renames the file.
    fs::rename(file, made);
    testing::internal::CaptureStderr();
    EXPECT_THAT(idsIn(open()), ElementsAre(1, 2, 3));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the file of the log " + path.string() +
                          " was missing: the one that was to replace it is "
                          "taken"));
    EXPECT_FALSE(fs::exists(made));
    store.reset();
    fs::rename(file, made);
    constexpr std::size_t page = 4096;
    fs::resize_file(made, 3 * page);
    EXPECT_EQ(open().size(), 0U) << "the process was killed while it wrote";
    EXPECT_EQ(fs::file_size(file.string() + ".damaged"), 3 * page);
}

TEST_F(Store, SetsAFileAsideThatTookThePlaceOfItsOwn)
{
    append(open(), 3);
    folder.write("other", "another");
    fs::rename(folder.path() / "other", file);
    store->clear({1, 2, false});
    append(*store, 1);
    EXPECT_EQ(readContent(file.string() + ".damaged"), "another");
    EXPECT_THAT(idsIn(open()), ElementsAre(1));
}

/** Replaces the content of a file without replacing the file. */
void overwrite(const fs::path& file, const std::string& content)
{
    std::fstream(file, std::ios::in | std::ios::out | std::ios::binary)
        << content;
}

TEST_F(Store, ContinuesWithTheContentOfAnOverwrittenFile)
{
    append(open(), 3);
    const std::string backup = readContent(file);
    const uint64_t generation = store->generation();
    store->clear({});
    append(*store, 5);
    testing::internal::CaptureStderr();
    overwrite(file, backup);
    store->restoreFile();
    store->restoreFile();
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("the file of the log " + path.string() +
                               " was overwritten: it held 5 entries and holds "
                               "3 now"));
    EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
    EXPECT_EQ(store->generation(), generation);
    append(*store, 1);
    EXPECT_THAT(idsIn(open()), ElementsAre(1, 2, 3, 4));
    EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
}

/** Overwrites a file as a copy that keeps the original's times. */
void overwriteAt(int seconds, const fs::path& file, const std::string& content)
{
    overwrite(file, content);
    fs::last_write_time(file,
                        fs::file_time_type(std::chrono::seconds(seconds)));
}

TEST_F(Store, ContinuesWithAnotherLogWithAsManyChanges)
{
    append(open(), 5);
    const std::string five = readContent(file);
    store.reset();
    fs::remove(file);
    append(open(), 2);
    store->clear({});
    append(*store, 2);
    const std::string two = readContent(file);
    overwriteAt(1, file, five);
    store->restoreFile();
    EXPECT_EQ(store->size(), 5u);
    overwriteAt(2, file, two);
    store->restoreFile();
    EXPECT_EQ(store->size(), 2u);
    append(*store, 1);
    EXPECT_THAT(idsIn(open()), ElementsAre(1, 2, 3));
    EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
}

TEST_F(Store, DoesNotTakeItsOwnChangeForAnothers)
{
    append(open(), 3);
    testing::internal::CaptureStderr();
    SELEntryProperties wrong;
    wrong.recordId = 9;
    EXPECT_THROW(store->append(wrong, 0, {}), std::runtime_error);
    store->restoreFile();
    store->clear({});
    store->restoreFile();
    append(*store, 1);
    store->restoreFile();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Store, RefusesTheFirstChangeAfterItsFileWasOverwritten)
{
    append(open(), 3);
    const std::string backup = readContent(file);
    append(*store, 5);
    overwrite(file, backup);
    EXPECT_THROW(append(*store, 1), std::runtime_error);
    append(*store, 1);
    EXPECT_THAT(idsIn(open()), ElementsAre(1, 2, 3, 4));
}

TEST_F(Store, RefusesAFolderThatAnotherProcessTookMeanwhile)
{
    append(open(), 3);
    fs::rename(path, folder.path() / "moved");
    const SelStore other(path);
    EXPECT_THROW(append(*store, 1), std::runtime_error);
    EXPECT_THAT(idsIn(*store), ElementsAre(1, 2, 3));
    EXPECT_EQ(store->size(), 3U);
}

TEST_F(Store, CanBeReadAfterAFailureEvenIfItCannotBeReopened)
{
    EXPECT_EQ(inChild([this] {
                  append(open(), 3);
                  test::growNoMore();
                  try
                  {
                      append(*store, 1, std::string(500, 'x'));
                      return 1;
                  }
                  catch (const std::system_error&)
                  {
                      fs::rename(path, folder.path() / "moved");
                      folder.write("deep/sel", "no folder");
                  }
                  return idsIn(*store).size() == 3 ? 0 : 2;
              }),
              0);
}

TEST_F(Store, TakesNoEntryWithAnotherIdentifierThanTheNext)
{
    append(open(), 3);
    SELEntryProperties entry = nextEntry(*store);
    entry.recordId = 7;
    EXPECT_THROW(store->append(entry, 0, {}), std::runtime_error);
    EXPECT_THAT(idsIn(open()), ElementsAre(1, 2, 3));
    EXPECT_EQ(store->size(), 3U);
}

TEST_F(Store, HoldsAFullLogWithTheLongestTexts)
{
    // In memory, so that no write waits for a disk.
    test::expectOnSmallFilesystem(folder.path(), "size=250m", [this] {
        open();
        SELEntryProperties entry = nextEntry(*store);
        entry.sensor.name = std::string(maxSensorText, 'n');
        entry.sensor.path = std::string(maxSensorText, 'p');
        for (int i = 0; i < identifiers + 1000; ++i)
        {
            entry.recordId = toIdentifier(store->next());
            store->append(entry, store->size() < identifiers ? 0 : 1, {});
        }
        const std::vector<uint16_t> ids = idsIn(*store);
        if (ids.size() != identifiers || ids.front() != 1001 ||
            ids.back() != 1000)
        {
            return 1;
        }
        store->append(nextEntry(*store), 60000, {});
        store->clear({});
        return open().size() == 0 ? 0 : 2;
    });
}

} // namespace
} // namespace healthintf::logmgr
