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

TEST_F(StoreFiles, AreMadeWhenTheyAreNotThere)
{
    EXPECT_GE(openFile(in("new")).get(), 0);
    EXPECT_TRUE(std::filesystem::exists(in("new")));
    EXPECT_THROW(openFile(in("none") / "new"), std::system_error);
}

TEST_F(StoreFiles, LieInAFolderThatIsMadeWithThoseAboveIt)
{
    const std::filesystem::path deep = in("store") / "of" / "one";
    EXPECT_EQ(madeFolder(deep), deep);
    EXPECT_TRUE(std::filesystem::is_directory(deep));
    EXPECT_EQ(madeFolder(deep), deep);
}

TEST_F(StoreFiles, HaveAllTheirBlocks)
{
    const FileDescriptor file = openFile(in("file"));
    allocateBlocks(file.get(), 100000, in("file"));
    struct stat found
    {};
    fstat(file.get(), &found);
    EXPECT_EQ(found.st_size, 100000);
    EXPECT_GE(found.st_blocks * 512, 100000);
}

TEST_F(StoreFiles, AreAnErrorWhereThereAreNoBlocks)
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

TEST_F(StoreFiles, AreSetAsideInPlaceOfEarlierOnes)
{
    folder.write("data.damaged", "earlier");
    folder.write("data", "now");
    EXPECT_EQ(setAside(in("data")), in("data.damaged"));
    EXPECT_EQ(test::contentOf(in("data.damaged")), "now");
    EXPECT_FALSE(std::filesystem::exists(in("data")));
}

} // namespace
} // namespace healthintf::host
