// SPDX-License-Identifier: Apache-2.0
#include "data_files.hpp"
#include "no_more_descriptors.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace healthintf::host
{
namespace
{

using test::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* variable = "HEALTHINTF_TEST_PATH";

TEST(DataFiles, AreLookedForInTheFoldersOfAVariable)
{
    setenv(variable, "/one::/two:", 1);
    EXPECT_THAT(splitSearchPath(variable, "/three"),
                ElementsAre("/one", "/two"));
    setenv(variable, "", 1);
    EXPECT_THAT(splitSearchPath(variable, "/three"), IsEmpty());
    unsetenv(variable);
    EXPECT_THAT(splitSearchPath(variable, "/three:/four"),
                ElementsAre("/three", "/four"));
}

TEST(DataFiles, ComeInTheOrderOfTheirNames)
{
    const TemporaryFolder folder;
    const auto second = folder.write("b.json", "");
    const auto first = folder.write("a.json", "");
    folder.write("c.txt", "");
    folder.write("below/d.json", "");
    std::error_code error;
    EXPECT_THAT(listJsonFiles(folder.path(), error),
                ElementsAre(first, second));
    EXPECT_FALSE(error);
}

TEST(DataFiles, AreNoneInAMissingFolder)
{
    const TemporaryFolder folder;
    std::error_code error;
    EXPECT_THAT(listJsonFiles(folder.path() / "missing", error), IsEmpty());
    EXPECT_FALSE(error);
}

TEST(DataFiles, ReportAFolderThatIsAFile)
{
    const TemporaryFolder folder;
    std::error_code error;
    EXPECT_THAT(listJsonFiles(folder.write("file", ""), error), IsEmpty());
    EXPECT_TRUE(error);
}

TEST(DataFiles, AreReadWhole)
{
    const TemporaryFolder folder;
    EXPECT_EQ(readDataFile(folder.write("a", "one\ntwo")), "one\ntwo");
    EXPECT_THROW(readDataFile(folder.path() / "missing"), std::runtime_error);
}

TEST(DataFiles, AreAnErrorDuringAShortageOfDescriptors)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a.json", "");
    std::error_code error;
    const test::NoMoreDescriptors none;
    EXPECT_THROW(readDataFile(file), DataShortage);
    listJsonFiles(folder.path(), error);
    EXPECT_THROW(throwIfShort(error, folder.path()), DataShortage);
    EXPECT_NO_THROW(throwIfShort(
        std::make_error_code(std::errc::permission_denied), folder.path()));
}

TEST(DataFiles, AreReadUpToTheirSizeLimit)
{
    const TemporaryFolder folder;
    const auto file = folder.write("a", "");
    std::filesystem::resize_file(file, maxDataFile);
    EXPECT_EQ(readDataFile(file).size(), maxDataFile);
    std::filesystem::resize_file(file, maxDataFile + 1);
    EXPECT_THROW(readDataFile(file), std::system_error);
}

TEST(DataFiles, MayBeMissingFromTheFoldersOfTheInstallation)
{
    unsetenv(variable);
    testing::internal::CaptureStderr();
    warnAboutMissingFolders(variable, {"/nonexistent"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace healthintf::host
