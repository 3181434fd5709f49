// SPDX-License-Identifier: Apache-2.0
#include "logmgr/history/sqlite.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

namespace healthintf::history
{
namespace
{

class SqliteTest : public testing::Test
{
  protected:
    test::TemporaryFolder folder;
    Database database{folder.path() / "db"};
};

TEST_F(SqliteTest, GivesBackWhatWasBound)
{
    database.run("CREATE TABLE t (a INTEGER, b TEXT, c INTEGER)");
    Statement(database, "INSERT INTO t VALUES (?, ?, ?)")
        .bind(int64_t{-5}, std::string("it's"), std::optional<int64_t>())
        .run();
    Statement row(database, "SELECT a, b, c FROM t");
    ASSERT_TRUE(row.step());
    EXPECT_EQ(row.number(0), -5);
    EXPECT_EQ(row.text(1), "it's");
    EXPECT_EQ(row.numberIfAny(0), -5);
    EXPECT_FALSE(row.numberIfAny(2));
    EXPECT_FALSE(row.step());
}

TEST_F(SqliteTest, StoresAnEmptyTextAsText)
{
    EXPECT_EQ(database.ask("SELECT 1"), 1);
    Statement question(database, "SELECT ? IS NULL");
    question.bind(std::string_view());
    ASSERT_TRUE(question.step());
    EXPECT_EQ(question.number(0), 0);
}

TEST_F(SqliteTest, TellsWhatIsWrongWithAStatement)
{
    try
    {
        database.run("SELECT 1 FROM nowhere");
        FAIL() << "it ran";
    }
    catch (const SqliteError& e)
    {
        EXPECT_STREQ(e.what(),
                     "the history's database: no such table: nowhere");
        EXPECT_FALSE(e.isDamage());
    }
}

TEST_F(SqliteTest, TellsAFileThatIsNoDatabase)
{
    Database other(folder.write("other", std::string(4096, 'x')));
    try
    {
        other.ask("SELECT count(*) FROM sqlite_master");
        FAIL() << "it was read";
    }
    catch (const SqliteError& e)
    {
        EXPECT_TRUE(e.isDamage());
    }
}

TEST_F(SqliteTest, CannotBeOpenedInAFolderThatIsMissing)
{
    EXPECT_THROW(Database(folder.path() / "none" / "db"), SqliteError);
}

} // namespace
} // namespace healthintf::history
