// SPDX-License-Identifier: Apache-2.0
#include "storage/regular_file.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fcntl.h>

#include <cerrno>
#include <functional>
#include <system_error>

namespace healthintf::host
{
namespace
{

class RegularFile : public testing::Test
{
  protected:
    static int makeError(const std::function<void()>& work)
    {
        try
        {
            work();
        }
        catch (const std::system_error& e)
        {
            return e.code().value();
        }
        return 0;
    }

    int failureToOpen(const char* name, int flags = 0) const
    {
        return makeError([&] {
            openRegularFile(folder.path() / name, flags, "it");
        });
    }

    test::TemporaryFolder folder;
};

TEST_F(RegularFile, IsReadUpToItsSizeLimit)
{
    const std::string content(40000, 'x');
    const auto file = folder.write("file", content);
    EXPECT_EQ(readToEnd(openRegularFile(file, 0, "it"), 40000, "it"), content);
    EXPECT_EQ(makeError([&] {
                  readToEnd(openRegularFile(file, 0, "it"), 39999, "it");
              }),
              EFBIG);
}

TEST_F(RegularFile, IsNoPipeNorFolderNorDevice)
{
    ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(failureToOpen("pipe"), ENOTSUP);
    EXPECT_EQ(failureToOpen("."), EISDIR);
    EXPECT_EQ(failureToOpen("/dev/null"), ENOTSUP);
    EXPECT_EQ(failureToOpen("missing"), ENOENT);
}

TEST_F(RegularFile, IsNotReachedByALinkOnRequest)
{
    folder.write("file", "");
    std::filesystem::create_symlink("file", folder.path() / "link");
    EXPECT_EQ(failureToOpen("link"), 0);
    EXPECT_EQ(failureToOpen("link", O_NOFOLLOW), ELOOP);
}

TEST_F(RegularFile, IsNamedInTheError)
{
    try
    {
        openRegularFile(folder.path() / "missing", 0, "unable to open it");
        FAIL();
    }
    catch (const std::system_error& e)
    {
        EXPECT_STREQ(e.what(), "unable to open it: No such file or directory");
    }
}

} // namespace
} // namespace healthintf::host
