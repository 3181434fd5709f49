// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "data_cache/sel_entry_codec.hpp"
#include "file_content.hpp"
#include "logmgr/sel_file.hpp"
#include "logmgr/sel_store.hpp"
#include "sample_events.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
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

/** Changes the table in a file without the store. */
template <typename Work>
void tamper(const fs::path& folder, Work&& work)
{
    const EnvironmentPtr environment = openLogFile(folder, SelStore::mapSize);
    Transaction transaction(environment.get(), Transaction::Kind::write);
    MDB_dbi table = 0;
    checkLmdb("mdb_dbi_open",
              mdb_dbi_open(transaction.get(), nullptr, 0, &table));
    work(transaction.get(), table);
    transaction.commit();
}

void tamperWith(const fs::path& folder, std::string key,
                std::optional<std::string> value)
{
    tamper(folder, [&](MDB_txn* transaction, MDB_dbi table) {
        MDB_val k{key.size(), key.data()};
        if (!value)
        {
            checkLmdb("mdb_del", mdb_del(transaction, table, &k, nullptr));
            return;
        }
        MDB_val v{value->size(), value->data()};
        checkLmdb("mdb_put", mdb_put(transaction, table, &k, &v, 0));
    });
}

std::string parseKey(char last)
{
    return std::string(7, '\0') + last;
}

/** The content of a file without the unused blocks at its end. */
std::string writtenIn(const fs::path& file)
{
    constexpr std::size_t page = 4096;
    std::string content = readContent(file);
    const std::size_t last = content.find_last_not_of('\0');
    content.resize((last / page + 1) * page);
    return content;
}

/** Sets a flag on the first node of each leaf page that means several values.
 *  The table has no such nodes, and LMDB then reads through a null pointer. */
void markFirstNodes(std::string& content)
{
    constexpr std::size_t page = 4096;
    constexpr std::size_t headPages = 2;
    constexpr std::size_t pageFlagsAt = 10;
    constexpr std::size_t firstNodeAt = 16;
    constexpr std::size_t nodeFlagsAt = 4;
    constexpr char leaf = 2;
    constexpr char severalValues = 4;
    for (std::size_t at = headPages * page; at < content.size(); at += page)
    {
        if (content[at + pageFlagsAt] == leaf)
        {
            uint16_t node = 0;
            std::memcpy(&node, &content[at + firstNodeAt], sizeof(node));
            content[at + node + nodeFlagsAt] = severalValues;
        }
    }
}

class Store : public testing::Test
{
  protected:
    SelStore& open()
    {
        store.reset();
        return store.emplace(path);
    }

    /** The offset of the root page of LMDB's list of free pages. */
    std::size_t freeListAt() const
    {
        constexpr std::size_t page = 4096;
        // A meta page describes two tables after its header. The first is the
        // free list, whose last field is the number of its root page.
        constexpr std::size_t rootAt = 16 + 24 + 40;
        constexpr std::size_t changeAt = 16 + 24 + 2 * 48 + 8;
        const std::string content = readContent(file);
        const auto numberAt = [&content](std::size_t at) {
            std::size_t number = 0;
            std::memcpy(&number, &content[at], sizeof(number));
            return number;
        };
        const std::size_t head =
            numberAt(changeAt) > numberAt(page + changeAt) ? 0 : page;
        return numberAt(head + rootAt) * page;
    }

    void writeAt(std::size_t at, const std::string& bytes) const
    {
        std::fstream stream(file,
                            std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(static_cast<std::streamoff>(at));
        stream << bytes;
    }

    void overwriteFreeList() const
    {
        constexpr std::size_t page = 4096;
        writeAt(freeListAt(), std::string(page, '\0'));
    }

    void expectRescue(const std::string& lines) const
    {
        EXPECT_THAT(lines,
                    HasSubstr("is damaged: its entries were written to a new "
                              "file, and the damaged one was set aside as " +
                              (path / "data.mdb.damaged").string()));
        EXPECT_FALSE(fs::exists(path / "data.mdb.new"));
    }

    /** The identifiers in a copy of the file. */
    std::vector<uint16_t> idsInCopy(const std::string& content) const
    {
        const test::TemporaryFolder other;
        other.write("data.mdb", content);
        SelStore copy(other.path());
        EXPECT_FALSE(fs::exists(other.path() / "data.mdb.damaged"));
        return idsIn(copy);
    }

    /** Opens a damaged file and expects that it can be changed.
     *
     *  @return whether it had @p entries entries */
    static bool usable(const std::string& content, std::size_t entries)
    {
        const test::TemporaryFolder other;
        other.write("data.mdb", content);
        SelStore damaged(other.path());
        const std::size_t before = idsIn(damaged).size();
        append(damaged, 3);
        EXPECT_EQ(idsIn(damaged).size(), before + 3);
        damaged.clear({});
        append(damaged, 1);
        EXPECT_THAT(idsIn(damaged), ElementsAre(1));
        return before == entries;
    }

    test::TemporaryFolder folder;
    fs::path path = folder.path() / "deep" / "sel";
    fs::path file = path / "data.mdb";
    std::optional<SelStore> store;
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

TEST(Identifiers, LeaveOutTheTwoReservedOnes)
{
    EXPECT_EQ(toIdentifier(0), 1);
    EXPECT_EQ(toIdentifier(65533), 65534);
    EXPECT_EQ(toIdentifier(65534), 1);
    EXPECT_EQ(toIdentifier(uint64_t{65534} * 1000 + 41), 42);
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

TEST_F(Store, SetsAFileAsideThatIsTooShort)
{
    append(open(), 100);
    store.reset();
    const std::string whole = readContent(file);
    for (const std::size_t size : {1U, 4096U, 5000U, 8192U, 12288U})
    {
        std::ofstream(file, std::ios::binary) << whole.substr(0, size);
        testing::internal::CaptureStderr();
        open();
        EXPECT_EQ(store->size(), 0U);
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr("is damaged: it was set aside as " +
                              file.string() + ".damaged"));
        EXPECT_EQ(fs::file_size(file.string() + ".damaged"), size);
        fs::remove(file.string() + ".damaged");
        append(*store, 1);
        store.reset();
    }
}

TEST_F(Store, ReportsOnceThatItsFileWasEmpty)
{
    folder.write("deep/sel/data.mdb", "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(open().size(), 0U);
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        HasSubstr("the file of the log " + path.string() + " has no bytes"));
    testing::internal::CaptureStderr();
    open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Store, LogsNothingWhereThereIsNoFile)
{
    testing::internal::CaptureStderr();
    open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Store, LosesNothingWithoutTheUnusedBlocksAtItsEnd)
{
    append(open(), 100);
    store.reset();
    fs::resize_file(file, fs::file_size(file) - SelStore::reserve);
    EXPECT_EQ(open().size(), 100U);
}

TEST_F(Store, SetsAsideAFileThatIsNoLog)
{
    folder.write("deep/sel/data.mdb", std::string(100000, 'x'));
    testing::internal::CaptureStderr();
    EXPECT_EQ(open().size(), 0U);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("is damaged"));
    EXPECT_EQ(readContent(file.string() + ".damaged"),
              std::string(100000, 'x'));
}

TEST_F(Store, SetsAsideALogThatWouldCrashLmdb)
{
    append(open(), 200);
    store.reset();
    std::string content = readContent(file);
    markFirstNodes(content);
    folder.write("deep/sel/data.mdb", content);
    testing::internal::CaptureStderr();
    open();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("reading it crashes the process"));
    EXPECT_TRUE(fs::exists(file.string() + ".damaged"));
    EXPECT_EQ(store->size(), 0U);
    append(*store, 1);
    EXPECT_THAT(idsIn(*store), ElementsAre(1));
}

TEST_F(Store, TakesEntriesWhateverPageWasOverwritten)
{
    constexpr std::size_t page = 4096;
    constexpr std::size_t headPages = 2;
    // A page header holds both bounds of the page's free space.
    constexpr std::size_t boundsAt = 12;
    constexpr std::size_t bounds = 4;
    constexpr std::size_t entries = 200;
    append(open(), entries);
    store.reset();
    const std::string whole = writtenIn(file);
    std::size_t kept = 0;
    for (std::size_t at = headPages * page; at < whole.size(); at += page)
    {
        for (const char byte : {'\0', '\xff'})
        {
            std::string content = whole;
            content.replace(at, page, std::string(page, byte));
            kept += usable(content, entries) ? 1 : 0;
        }
        std::string content = whole;
        content.replace(at + boundsAt, bounds, std::string(bounds, '\x7f'));
        kept += usable(content, entries) ? 1 : 0;
    }
    // Not every page holds entries.
    EXPECT_GT(kept, 0U);
}

TEST_F(Store, KeepsItsEntriesWhenAPageThatOnlyWritersReadIsDamaged)
{
    append(open(), 200);
    const uint64_t generation = store->generation();
    store.reset();
    overwriteFreeList();
    testing::internal::CaptureStderr();
    open();
    expectRescue(testing::internal::GetCapturedStderr());
    EXPECT_EQ(store->generation(), generation);
    append(*store, 1);
    EXPECT_EQ(idsIn(open()).size(), 201U);
}

TEST_F(Store, KeepsItsEntriesWhereAnAdditionWouldCrashTheProcess)
{
    constexpr std::size_t page = 4096;
    // A page header holds the end of the page's free space.
    constexpr std::size_t endAt = 15;
    append(open(), 200);
    store.reset();
    const std::string content = readContent(file);
    const std::string lastKey = parseKey('\xc7');
    for (std::size_t at = content.find(lastKey); at != std::string::npos;
         at = content.find(lastKey, at + 1))
    {
        writeAt(at / page * page + endAt, "\x11");
    }
    testing::internal::CaptureStderr();
    open();
    expectRescue(testing::internal::GetCapturedStderr());
    append(*store, 1);
    EXPECT_EQ(idsIn(open()).size(), 201U);
}

TEST_F(Store, KeepsItsEntriesWhereItsFreePagesAreWrong)
{
    append(open(), 200);
    store.reset();
    // The last number on the page is that of a free page.
    constexpr std::size_t lastNumber = 4096 - sizeof(uint64_t);
    for (const char* wrong : {"\1\0\0\0\0\0\0\0", "\0\0\0\1\0\0\0\0"})
    {
        writeAt(freeListAt() + lastNumber,
                std::string(wrong, sizeof(uint64_t)));
        testing::internal::CaptureStderr();
        open();
        expectRescue(testing::internal::GetCapturedStderr());
        fs::remove(path / "data.mdb.damaged");
        append(*store, 50);
        store.reset();
    }
    EXPECT_EQ(idsIn(open()).size(), 300U);
}

TEST_F(Store, KeepsItsEntriesWhenItsFreeListIsDamagedWhileItIsOpen)
{
    append(open(), 200);
    const uint64_t generation = store->generation();
    overwriteFreeList();
    testing::internal::CaptureStderr();
    append(*store, 1);
    expectRescue(testing::internal::GetCapturedStderr());
    EXPECT_EQ(idsIn(open()).size(), 201U);
    EXPECT_EQ(store->generation(), generation);
}

TEST_F(Store, CanBeReadWhereItIsDamagedAndNoNewFileCanBeWritten)
{
    append(open(), 200);
    store.reset();
    overwriteFreeList();
    EXPECT_EQ(inChild([this] {
                  test::growNoMore();
                  return idsIn(open()).size() == 200 ? 0 : 1;
              }),
              0);
    EXPECT_FALSE(fs::exists(path / "data.mdb.new"));
    EXPECT_FALSE(fs::exists(path / "data.mdb.damaged"));
}

TEST_F(Store, SetsALogAsideWhoseKeysAreWrong)
{
    const auto expectDamage = [this](const std::string& key,
                                     const std::optional<std::string>& value) {
        append(open(), 3);
        store.reset();
        tamperWith(path, key, value);
        testing::internal::CaptureStderr();
        EXPECT_EQ(open().size(), 0U);
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr("is damaged"));
    };
    const std::string state(1, '\0');
    expectDamage(parseKey(1), std::nullopt);
    expectDamage("short", "entry");
    expectDamage(state, std::nullopt);
    expectDamage(state, "ab");
}

TEST_F(Store, LeavesALogOfAnotherVersionAlone)
{
    append(open(), 1);
    store.reset();
    tamperWith(path, std::string(1, '\0'), std::string("\x63\0\0\0", 4));
    try
    {
        open();
        ADD_FAILURE() << "opened";
    }
    catch (const std::exception& e)
    {
        EXPECT_THAT(e.what(), HasSubstr("it is of version 99 and this program "
                                        "needs version 1"));
    }
    EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
}

TEST_F(Store, LeavesOutADamagedEntry)
{
    append(open(), 4);
    const std::string other = host::encodeSelEntry(nextEntry(*store));
    store.reset();
    tamperWith(path, parseKey(1), "short");
    tamperWith(path, parseKey(2), other);
    testing::internal::CaptureStderr();
    open();
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, HasSubstr("the entry 2 of the log was left out"));
    EXPECT_THAT(lines, HasSubstr("the entry 3 of the log was left out: it has "
                                 "the identifier 5"));
    EXPECT_EQ(store->size(), 4U) << "they keep their places";
    EXPECT_THAT(idsIn(*store), ElementsAre(1, 4));
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
