// SPDX-License-Identifier: Apache-2.0
/** @file What SelStore does with a damaged file. */

#include "child.hpp"
#include "data_cache/sel_entry_codec.hpp"
#include "logmgr/sel_file.hpp"
#include "sample_events.hpp"
#include "small_filesystem.hpp"
#include "store_test.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <optional>

namespace healthintf::logmgr
{
namespace
{

namespace fs = std::filesystem;
using test::inChild;
using test::readContent;
using testing::ElementsAre;
using testing::HasSubstr;

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

class DamagedLog : public StoreTest
{
  protected:
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
};

TEST_F(DamagedLog, SetsAFileAsideThatIsTooShort)
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

TEST_F(DamagedLog, ReportsOnceThatItsFileWasEmpty)
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

TEST_F(DamagedLog, LogsNothingWhereThereIsNoFile)
{
    testing::internal::CaptureStderr();
    open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(DamagedLog, LosesNothingWithoutTheUnusedBlocksAtItsEnd)
{
    append(open(), 100);
    store.reset();
    fs::resize_file(file, fs::file_size(file) - SelStore::reserve);
    EXPECT_EQ(open().size(), 100U);
}

TEST_F(DamagedLog, SetsAsideAFileThatIsNoLog)
{
    folder.write("deep/sel/data.mdb", std::string(100000, 'x'));
    testing::internal::CaptureStderr();
    EXPECT_EQ(open().size(), 0U);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("is damaged"));
    EXPECT_EQ(readContent(file.string() + ".damaged"),
              std::string(100000, 'x'));
}

TEST_F(DamagedLog, SetsAsideALogThatWouldCrashLmdb)
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

TEST_F(DamagedLog, TakesEntriesWhateverPageWasOverwritten)
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

TEST_F(DamagedLog, KeepsItsEntriesWhenAPageThatOnlyWritersReadIsDamaged)
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

TEST_F(DamagedLog, KeepsItsEntriesWhereAnAdditionWouldCrashTheProcess)
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

TEST_F(DamagedLog, KeepsItsEntriesWhereItsFreePagesAreWrong)
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

TEST_F(DamagedLog, KeepsItsEntriesWhenItsFreeListIsDamagedWhileItIsOpen)
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

TEST_F(DamagedLog, CanBeReadWhereItIsDamagedAndNoNewFileCanBeWritten)
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

TEST_F(DamagedLog, SetsALogAsideWhoseKeysAreWrong)
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

TEST_F(DamagedLog, LeavesALogOfAnotherVersionAlone)
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

TEST_F(DamagedLog, LeavesOutADamagedEntry)
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

} // namespace
} // namespace healthintf::logmgr
