// SPDX-License-Identifier: Apache-2.0
#include "storage/store_failure.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <system_error>

namespace healthintf::host
{
namespace
{

TEST(StoreFailure, HasTheNumberOfItsCause)
{
    EXPECT_EQ(getErrorNumber(std::system_error(EROFS, std::generic_category())),
              EROFS);
    EXPECT_EQ(getErrorNumber(std::bad_alloc()), ENOMEM);
    EXPECT_EQ(getErrorNumber(std::runtime_error("x")), EIO);
}

TEST(StoreFailure, NamesTheRemedyForAFolder)
{
    EXPECT_EQ(folderRemedy(ENOSPC, "FOLDER"),
              "its filesystem is full: free some space or set FOLDER to "
              "another");
    for (const int code : {EACCES, EPERM, EROFS})
    {
        EXPECT_EQ(folderRemedy(code, "FOLDER"),
                  "let this user write to the folder, or set FOLDER to "
                  "another");
    }
    EXPECT_EQ(folderRemedy(EIO, "FOLDER"),
              "see the folder's files and permissions");
}

} // namespace
} // namespace healthintf::host
