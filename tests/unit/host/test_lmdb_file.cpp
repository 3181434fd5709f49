#include "child.hpp"
#include "file_content.hpp"
#include "storage/lmdb.hpp"
#include "storage/lmdb_file.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <system_error>

namespace healthintf::host
{
namespace
{

constexpr std::size_t pageSize = 4096;

class LmdbFile : public testing::Test
{
  protected:
    /** Works with the file as LMDB, in one transaction that is committed. */
    template <typename Work>
    void change(Work&& work) const
    {
        MDB_env* raw = nullptr;
        checkLmdb("create", mdb_env_create(&raw));
        const EnvironmentPtr environment(raw);
        checkLmdb("size", mdb_env_set_mapsize(raw, 64UL << 20));
        checkLmdb("open",
                  mdb_env_open(raw, folder.path().c_str(), MDB_NOTLS, 0600));
        Transaction transaction(raw, Transaction::Kind::write);
        MDB_dbi table = 0;
        checkLmdb("dbi", mdb_dbi_open(transaction.get(), nullptr, 0, &table));
        work(transaction.get(), table);
        transaction.commit();
    }

    static void put(MDB_txn* transaction, MDB_dbi table, int number,
                    std::size_t size)
    {
        std::string key = "key" + std::to_string(number);
        std::string value(size, 'x');
        MDB_val k{key.size(), key.data()};
        MDB_val v{value.size(), value.data()};
        checkLmdb("put", mdb_put(transaction, table, &k, &v, 0));
    }

    /** Adds records of some size. */
    void add(int count, std::size_t size) const
    {
        change([=](MDB_txn* transaction, MDB_dbi table) {
            for (int i = 0; i < count; ++i)
            {
                put(transaction, table, i, size);
            }
        });
    }

    void removeAll() const
    {
        change([](MDB_txn* transaction, MDB_dbi table) {
            checkLmdb("drop", mdb_drop(transaction, table, 0));
        });
    }

    std::filesystem::path file() const
    {
        return folder.path() / "data.mdb";
    }

    /** Reads and changes everything as LMDB does.
     *
     *  @return the status of the process that did it */
    int use() const
    {
        return test::inChild(
            [this] {
                try
                {
                    change([](MDB_txn* transaction, MDB_dbi table) {
                        {
                            Cursor cursor(transaction, table);
                            for (bool more = cursor.seek(""); more;
                                 more = cursor.next())
                            {}
                        }
                        for (int i = 0; i < 100; i += 9)
                        {
                            put(transaction, table, i, 50);
                        }
                    });
                }
                catch (const LmdbError&)
                {}
                return 0;
            },
            &errors);
    }

    test::TemporaryFolder folder;
    mutable std::string errors;
};

TEST_F(LmdbFile, IsSoundInEveryShape)
{
    EXPECT_THROW(isSound(file()), std::system_error);
    folder.write("data.mdb", "");
    EXPECT_TRUE(isSound(file()));
    add(0, 0);
    EXPECT_TRUE(isSound(file())) << "without records";
    add(3, 4);
    EXPECT_TRUE(isSound(file())) << "with one page";
    add(5000, 100);
    EXPECT_TRUE(isSound(file())) << "with several levels";
    add(20, 100000);
    EXPECT_TRUE(isSound(file())) << "with large values";
    removeAll();
    EXPECT_TRUE(isSound(file())) << "with many free pages";
    add(100, 4);
    add(100, 40);
    EXPECT_TRUE(isSound(file())) << "with free pages in use again";
}

TEST_F(LmdbFile, IsUnsoundWhenItIsSomethingElse)
{
    for (const std::size_t size : {1UL, 100UL, 4096UL, 8192UL, 100000UL})
    {
        folder.write("data.mdb", std::string(size, 'x'));
        EXPECT_FALSE(isSound(file())) << size;
        folder.write("data.mdb", std::string(size, '\0'));
        EXPECT_FALSE(isSound(file())) << size;
    }
}

TEST_F(LmdbFile, IsUnsoundWhenItIsCutShort)
{
    add(300, 100);
    const std::string whole = test::contentOf(file());
    for (std::size_t size = 1; size < whole.size(); size += 1000)
    {
        folder.write("data.mdb", whole.substr(0, size));
        EXPECT_FALSE(isSound(file())) << size;
    }
}

TEST_F(LmdbFile, IsLeftToLmdbInAnotherFormat)
{
    add(3, 4);
    std::string other = test::contentOf(file());
    constexpr std::size_t version = 20;
    ASSERT_EQ(other[version], 1);
    other[version] = 2;
    folder.write("data.mdb", other);
    EXPECT_TRUE(isSound(file()));
    EXPECT_EQ(use(), 0);
}

TEST_F(LmdbFile, CanBeUsedWhenItIsSoundHoweverItIsDamaged)
{
    // Several levels, large values and free pages.
    add(20, 10000);
    add(200, 100);
    add(20, 10);
    const std::string whole = test::contentOf(file());
    const std::size_t pages = whole.size() / pageSize;
    std::minstd_rand random(1);
    const auto below = [&](std::size_t limit) {
        return random() % limit;
    };
    int sound = 0;
    int unsound = 0;
    for (int round = 0; round < 600; ++round)
    {
        std::string damaged = whole;
        const auto page =
            damaged.begin() + static_cast<int>(pageSize * below(pages));
        switch (round % 3)
        {
            case 0:
                std::fill_n(page, pageSize, '\0');
                break;
            case 1:
                std::generate_n(page, pageSize, [&] {
                    return static_cast<char>(below(256));
                });
                break;
            default:
                // Where each page says what it is.
                page[static_cast<int>(below(64))] =
                    static_cast<char>(below(256));
        }
        folder.write("data.mdb", damaged);
        if (!isSound(file()))
        {
            ++unsound;
            continue;
        }
        ++sound;
        EXPECT_EQ(use(), 0) << "round " << round << ": " << errors;
    }
    EXPECT_GT(sound, 20);
    EXPECT_GT(unsound, 100);
}

} // namespace
} // namespace healthintf::host
