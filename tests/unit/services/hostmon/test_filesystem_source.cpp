// SPDX-License-Identifier: Apache-2.0
#include "filesystem_source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace healthintf::hostmon
{
namespace
{

TEST(FilesystemUsage, IsAPercentage)
{
    const double used = readUsedPercent("/");
    EXPECT_GT(used, 0);
    EXPECT_LE(used, 100);
}

TEST(FilesystemUsage, IsAnErrorWhereThereIsNoFilesystem)
{
    EXPECT_THROW(readUsedPercent("/nonexistent"), std::runtime_error);
    EXPECT_THROW(readUsedPercent("/proc"), std::runtime_error)
        << "a filesystem without a size";
}

TEST(MountPoint, IsTheFolderThatTheFilesystemBeginsAt)
{
    EXPECT_EQ(findMountPoint("/"), "/");
    EXPECT_EQ(findMountPoint("/proc"), "/proc");
    EXPECT_EQ(findMountPoint("/proc/1"), "/proc");
    EXPECT_THROW(findMountPoint("/nonexistent"), std::runtime_error);
}

TEST(MountedFilesystems, AreNotTheirParentsWhenTheyAreNotMounted)
{
    const test::TemporaryFolder folder;
    MountedFilesystem missing(folder.path(), folder.path());
    try
    {
        missing.readUsedPercent();
        ADD_FAILURE() << "the parent's figures";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_EQ(e.what(), folder.path().string() + " is not mounted");
    }
    EXPECT_GT(MountedFilesystem("/").readUsedPercent(), 0);
}

} // namespace
} // namespace healthintf::hostmon
