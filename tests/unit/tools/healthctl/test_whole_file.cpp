// SPDX-License-Identifier: Apache-2.0
#include "file_content.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sel/whole_file.hpp>

#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace healthintf::healthctl
{
namespace
{

namespace fs = std::filesystem;

class WholeFile : public testing::Test
{
  protected:
    std::size_t files() const
    {
        const fs::directory_iterator all(folder.path());
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    test::TemporaryFolder folder;
    const fs::path file = folder.path() / "file";
};

TEST_F(WholeFile, IsCreatedWhereThereIsNone)
{
    writeWholeFile(file, "content");
    EXPECT_EQ(test::readContent(file), "content");
    EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFile, ReplacesAnotherFileAtomically)
{
    folder.write("file", "before");
    constexpr auto mode = fs::perms::owner_read | fs::perms::owner_write;
    fs::permissions(file, mode);
    const std::ifstream reader(file);
    const fs::path link = folder.path() / "link";
    fs::create_symlink(file, link);
    writeWholeFile(link, "after");
    EXPECT_EQ((std::ostringstream() << reader.rdbuf()).str(), "before");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(test::readContent(file), "after");
    EXPECT_EQ(fs::status(file).permissions(), mode);
    EXPECT_EQ(files(), 2U);
}

TEST_F(WholeFile, IsWrittenIntoADevice)
{
    writeWholeFile("/dev/null", "content");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(WholeFile, IsWrittenIntoAnOpenPipe)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    writeWholeFile("/proc/self/fd/" + std::to_string(ends[1]), "content");
    std::array<char, 16> heard{};
    EXPECT_EQ(read(ends[0], heard.data(), heard.size()), 7);
    EXPECT_STREQ(heard.data(), "content");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(WholeFile, KeepsADanglingLink)
{
    fs::create_symlink(folder.path() / "away" / "backup", file);
    EXPECT_THROW(writeWholeFile(file, "content"), std::system_error);
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFile, LeavesNothingWhereItCannotBeWritten)
{
    fs::create_directory(file);
    EXPECT_THROW(writeWholeFile(file, "content"), std::system_error);
    EXPECT_THROW(writeWholeFile(folder.path() / "no" / "file", "content"),
                 std::system_error);
    EXPECT_EQ(files(), 1U);
}

} // namespace
} // namespace healthintf::healthctl
