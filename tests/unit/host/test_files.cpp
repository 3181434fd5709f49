// SPDX-License-Identifier: Apache-2.0
#include "file_content.hpp"
#include "small_filesystem.hpp"
#include "storage/files.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace healthintf::host
{
namespace
{

class StoreFiles : public testing::Test
{
  protected:
    std::filesystem::path in(const char* name) const
    {
        return folder.path() / name;
    }

    test::TemporaryFolder folder;
};

TEST_F(StoreFiles, AreCreatedWhenTheyAreMissing)
{
    EXPECT_GE(openFile(in("new")).get(), 0);
    EXPECT_TRUE(std::filesystem::exists(in("new")));
    EXPECT_THROW(openFile(in("none") / "new"), std::system_error);
}

TEST_F(StoreFiles, CreateTheirFolderAndItsParents)
{
    const std::filesystem::path deep = in("store") / "of" / "one";
    EXPECT_EQ(makeFolder(deep), deep);
    EXPECT_TRUE(std::filesystem::is_directory(deep));
    EXPECT_EQ(makeFolder(deep), deep);
}

TEST_F(StoreFiles, HaveAllTheirBlocksAllocated)
{
    const FileDescriptor file = openFile(in("file"));
    allocateBlocks(file.get(), 100000, in("file"));
    struct stat found
    {};
    fstat(file.get(), &found);
    EXPECT_EQ(found.st_size, 100000);
    EXPECT_GE(found.st_blocks * 512, 100000);
}

TEST_F(StoreFiles, HaveTheirNamesUntilTheyAreRemovedOrReplaced)
{
    const FileDescriptor file = openFile(in("file"));
    allocateBlocks(file.get(), 100, in("file"));
    const auto found = namedFile(file.get(), in("file"));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->st_size, 100);
    std::filesystem::rename(in("file"), in("moved"));
    EXPECT_FALSE(namedFile(file.get(), in("file")));
    EXPECT_TRUE(namedFile(file.get(), in("moved")));
    folder.write("file", "another");
    EXPECT_FALSE(namedFile(file.get(), in("file")));
    EXPECT_FALSE(namedFile(-1, in("file")));
}

TEST_F(StoreFiles, AreAnErrorWhereTheFilesystemIsFull)
{
    test::expectOnSmallFilesystem(folder.path(), "size=64k", [this] {
        try
        {
            allocateBlocks(openFile(in("file")).get(), 100000, in("file"));
        }
        catch (const std::system_error& e)
        {
            return e.code().value() == ENOSPC ? 0 : 1;
        }
        return 2;
    });
}

TEST_F(StoreFiles, AreSetAsideBesideEarlierOnes)
{
    folder.write("data", "first");
    EXPECT_EQ(setAside(in("data")), in("data.damaged"));
    EXPECT_FALSE(std::filesystem::exists(in("data")));
    folder.write("data", "second");
    EXPECT_EQ(setAside(in("data")), in("data.damaged.1"));
    EXPECT_EQ(test::readContent(in("data.damaged")), "first");
    EXPECT_EQ(test::readContent(in("data.damaged.1")), "second");
}

TEST_F(StoreFiles, AreSetAsideInPlaceOfTheLastWhenThereAreTooMany)
{
    for (int count = 0; count < mostSetAside + 1; ++count)
    {
        folder.write("data", std::to_string(count));
        setAside(in("data"));
    }
    EXPECT_EQ(test::readContent(in("data.damaged")), "0");
    EXPECT_EQ(test::readContent(in("data.damaged.8")), "8");
    EXPECT_EQ(test::readContent(in("data.damaged.9")), "10");
    EXPECT_FALSE(std::filesystem::exists(in("data.damaged.10")));
}

TEST_F(StoreFiles, AreReplacedByNewOnesAndSetAside)
{
    folder.write("data", "damaged");
    folder.write("new", "whole");
    EXPECT_EQ(replaceSettingAside(in("data"), in("new")), in("data.damaged"));
    EXPECT_EQ(test::readContent(in("data")), "whole");
    EXPECT_EQ(test::readContent(in("data.damaged")), "damaged");
    EXPECT_FALSE(std::filesystem::exists(in("new")));
}

TEST_F(StoreFiles, StayInTheirPlaceUntilNewOnesAreThere)
{
    folder.write("data", "damaged");
    EXPECT_THROW(replaceSettingAside(in("data"), in("missing")),
                 std::filesystem::filesystem_error);
    EXPECT_EQ(test::readContent(in("data")), "damaged");
}

TEST_F(StoreFiles, ThatAreReplacedTakeThePlaceOfTheLastWhenThereAreTooMany)
{
    for (int count = 0; count < mostSetAside + 1; ++count)
    {
        folder.write("data", std::to_string(count));
        folder.write("new", "whole");
        replaceSettingAside(in("data"), in("new"));
    }
    EXPECT_EQ(test::readContent(in("data.damaged.8")), "8");
    EXPECT_EQ(test::readContent(in("data.damaged.9")), "10");
    EXPECT_FALSE(std::filesystem::exists(in("data.damaged.10")));
}

} // namespace
} // namespace healthintf::host
