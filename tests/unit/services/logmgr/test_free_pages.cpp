// SPDX-License-Identifier: Apache-2.0
#include "free_pages.hpp"
#include "lmdb.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <string>

namespace healthintf::logmgr
{
namespace
{

/** Stores a value of many pages, or deletes it. */
void change(MDB_env* environment, std::size_t size)
{
    Transaction transaction(environment, Transaction::Kind::write);
    MDB_dbi table = 0;
    checkLmdb("mdb_dbi_open",
              mdb_dbi_open(transaction.get(), nullptr, 0, &table));
    std::string bytes(size, 'x');
    std::string name = "key";
    MDB_val key{name.size(), name.data()};
    MDB_val value{bytes.size(), bytes.data()};
    checkLmdb("mdb_put", mdb_put(transaction.get(), table, &key, &value, 0));
    transaction.commit();
}

TEST(FreePages, AreThePagesOfDeletedValues)
{
    const test::TemporaryFolder folder;
    MDB_env* raw = nullptr;
    checkLmdb("mdb_env_create", mdb_env_create(&raw));
    const EnvironmentPtr environment(raw);
    checkLmdb("mdb_env_open",
              mdb_env_open(raw, folder.path().c_str(), MDB_NOLOCK, 0600));
    EXPECT_EQ(freePages(raw), 0U);
    constexpr std::size_t pages = 100;
    change(raw, pages * 4096);
    const std::size_t before = freePages(raw);
    change(raw, 1);
    EXPECT_GE(freePages(raw), before + pages);
    EXPECT_LE(freePages(raw), before + pages + 5);
}

} // namespace
} // namespace healthintf::logmgr
