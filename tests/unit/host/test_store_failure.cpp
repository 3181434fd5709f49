#include "storage/lmdb.hpp"
#include "storage/store_failure.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <system_error>

namespace healthintf::host
{
namespace
{

constexpr StoreAdvice advice{"full", "too long", "FOLDER"};

TEST(StoreFailure, HasTheNumberOfItsCause)
{
    EXPECT_EQ(codeOf(LmdbError("x", MDB_MAP_FULL)), MDB_MAP_FULL);
    EXPECT_EQ(codeOf(std::system_error(EROFS, std::generic_category())), EROFS);
    EXPECT_EQ(codeOf(std::bad_alloc()), ENOMEM);
    EXPECT_EQ(codeOf(std::runtime_error("x")), EIO);
}

TEST(StoreFailure, NamesTheStoresOwnRemedies)
{
    EXPECT_EQ(remedyFor(MDB_MAP_FULL, advice), "full");
    EXPECT_EQ(remedyFor(MDB_BAD_VALSIZE, advice), "too long");
    EXPECT_EQ(remedyFor(ENOSPC, advice),
              "its filesystem is full: free some space or set FOLDER to "
              "another");
    EXPECT_EQ(remedyFor(EACCES, advice),
              "let this user write to the folder, or set FOLDER to another");
    EXPECT_EQ(remedyFor(EIO, advice), "see the folder's files and permissions");
}

TEST(StoreFailure, TellsOfDamageWhereTheFileCannotBeRead)
{
    for (const int code : {MDB_INVALID, MDB_VERSION_MISMATCH, MDB_CORRUPTED,
                           MDB_MAP_RESIZED, MDB_PAGE_NOTFOUND})
    {
        EXPECT_EQ(remedyFor(code, advice),
                  "it is damaged: restart every process that uses it, and it "
                  "is made anew");
    }
}

} // namespace
} // namespace healthintf::host
