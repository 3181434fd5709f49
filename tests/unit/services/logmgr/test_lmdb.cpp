// SPDX-License-Identifier: Apache-2.0
#include "lmdb.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

namespace healthintf::logmgr
{
namespace
{

class Lmdb : public testing::Test
{
  protected:
    Lmdb()
    {
        MDB_env* raw = nullptr;
        checkLmdb("create", mdb_env_create(&raw));
        environment.reset(raw);
        checkLmdb("open",
                  mdb_env_open(raw, folder.path().c_str(), MDB_NOTLS, 0600));
        Transaction transaction(raw, Transaction::Kind::write);
        checkLmdb("dbi", mdb_dbi_open(transaction.get(), nullptr, 0, &table));
        transaction.commit();
    }

    void put(const Transaction& transaction, std::string key,
             std::string value) const
    {
        MDB_val k{key.size(), key.data()};
        MDB_val v{value.size(), value.data()};
        checkLmdb("put", mdb_put(transaction.get(), table, &k, &v, 0));
    }

    std::map<std::string, std::string> content() const
    {
        std::map<std::string, std::string> all;
        const Transaction transaction(environment.get(),
                                      Transaction::Kind::read);
        Cursor cursor(transaction.get(), table);
        for (bool more = cursor.seek(""); more; more = cursor.next())
        {
            all.emplace(cursor.key(), cursor.value());
        }
        return all;
    }

    void fill(const std::map<std::string, std::string>& records) const
    {
        Transaction transaction(environment.get(), Transaction::Kind::write);
        for (const auto& [key, value] : records)
        {
            put(transaction, key, value);
        }
        transaction.commit();
    }

    test::TemporaryFolder folder;
    EnvironmentPtr environment;
    MDB_dbi table = 0;
};

TEST_F(Lmdb, ChangesNothingWithoutACommit)
{
    {
        const Transaction transaction(environment.get(),
                                      Transaction::Kind::write);
        put(transaction, "a", "1");
    }
    EXPECT_TRUE(content().empty());
    fill({{"a", "1"}});
    EXPECT_EQ(content().size(), 1u);
}

TEST_F(Lmdb, NamesTheCallThatFailedAndItsCode)
{
    const Transaction transaction(environment.get(), Transaction::Kind::read);
    try
    {
        put(transaction, "a", "1");
        FAIL() << "written";
    }
    catch (const LmdbError& e)
    {
        EXPECT_EQ(e.code().value(), EACCES);
        EXPECT_STREQ(e.what(), "put: Permission denied");
    }
}

TEST_F(Lmdb, WalksInTheOrderOfTheKeys)
{
    fill({{"b", "2"}, {"a", "1"}, {"c", "3"}});
    const Transaction transaction(environment.get(), Transaction::Kind::read);
    Cursor cursor(transaction.get(), table);
    ASSERT_TRUE(cursor.seek("aa"));
    EXPECT_EQ(cursor.key(), "b");
    ASSERT_TRUE(cursor.next());
    EXPECT_EQ(cursor.value(), "3");
    EXPECT_FALSE(cursor.next());
    EXPECT_FALSE(cursor.seek("d"));
}

TEST_F(Lmdb, FindsAKeyExactly)
{
    fill({{"ab", "1"}});
    const Transaction transaction(environment.get(), Transaction::Kind::read);
    Cursor cursor(transaction.get(), table);
    std::string key = "a";
    EXPECT_FALSE(cursor.find({key.size(), key.data()}));
    key = "ab";
    EXPECT_TRUE(cursor.find({key.size(), key.data()}));
    EXPECT_EQ(cursor.value(), "1");
}

TEST_F(Lmdb, ReplacesAValueByOneOfAnotherSize)
{
    fill({{"a", "1"}, {"b", "2"}});
    {
        Transaction transaction(environment.get(), Transaction::Kind::write);
        {
            Cursor cursor(transaction.get(), table);
            ASSERT_TRUE(cursor.seek("a"));
            const MDB_val room = cursor.replace(4);
            ASSERT_EQ(room.mv_size, 4u);
            std::memcpy(room.mv_data, "long", 4);
        }
        transaction.commit();
    }
    EXPECT_EQ(content(),
              (std::map<std::string, std::string>{{"a", "long"}, {"b", "2"}}));
}

TEST_F(Lmdb, ContinuesAfterARecordThatItRemoves)
{
    fill({{"a", "1"}, {"b", "2"}, {"c", "3"}});
    {
        Transaction transaction(environment.get(), Transaction::Kind::write);
        {
            Cursor cursor(transaction.get(), table);
            ASSERT_TRUE(cursor.seek("a"));
            cursor.remove();
            ASSERT_TRUE(cursor.next());
            EXPECT_EQ(cursor.key(), "b");
            cursor.remove();
            ASSERT_TRUE(cursor.next());
            EXPECT_EQ(cursor.key(), "c");
            cursor.remove();
            EXPECT_FALSE(cursor.next());
        }
        transaction.commit();
    }
    EXPECT_TRUE(content().empty());
}

} // namespace
} // namespace healthintf::logmgr
