// SPDX-License-Identifier: Apache-2.0
#include "config_manager/replace_file.hpp"
#include "file_content.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;

class ReplacedFile : public testing::Test
{
  protected:
    fs::path in(const char* name) const
    {
        return folder.path() / name;
    }

    test::TemporaryFolder folder;
};

TEST_F(ReplacedFile, IsReplacedAtomically)
{
    replaceFile(in("file"), "one");
    EXPECT_EQ(test::readContent(in("file")), "one");
    const std::string large(1 << 20, 'x');
    replaceFile(in("file"), large);
    EXPECT_EQ(test::readContent(in("file")), large);
    replaceFile(in("file"), "");
    EXPECT_EQ(test::readContent(in("file")), "");
    EXPECT_FALSE(fs::exists(in("file.new")));
}

TEST_F(ReplacedFile, IsWritableForItsOwnerOnly)
{
    const mode_t before = umask(0);
    replaceFile(in("file"), "one");
    umask(before);
    EXPECT_EQ(fs::status(in("file")).permissions(), fs::perms{0644});
}

TEST_F(ReplacedFile, KeepsItsContentWhenItCannotBeReplaced)
{
    test::expectOnSmallFilesystem(folder.path(), "size=64k", [this] {
        replaceFile(in("file"), "one");
        try
        {
            replaceFile(in("file"), std::string(1 << 20, 'x'));
            return 1;
        }
        catch (const std::system_error& e)
        {
            return e.code().value() == ENOSPC &&
                           test::readContent(in("file")) == "one" &&
                           !fs::exists(in("file.new"))
                       ? 0
                       : 2;
        }
    });
    EXPECT_THROW(replaceFile(in("none") / "file", "one"), std::system_error);
}

TEST_F(ReplacedFile, FollowsNoSymbolicLink)
{
    const fs::path victim = folder.write("victim", "of somebody else");
    for (const char* name : {"file", "file.new"})
    {
        fs::create_symlink(victim, in(name));
    }
    replaceFile(in("file"), "one");
    EXPECT_EQ(test::readContent(victim), "of somebody else");
    EXPECT_EQ(test::readContent(in("file")), "one");
    EXPECT_FALSE(fs::is_symlink(in("file")));
}

TEST_F(ReplacedFile, LeavesAnOpenOrLinkedFileOfThatNameAlone)
{
    const fs::path other = folder.write("other", "of somebody else");
    fs::create_hard_link(other, in("file.new"));
    replaceFile(in("file"), "one");
    EXPECT_EQ(test::readContent(other), "of somebody else");
}

TEST_F(ReplacedFile, IsAnErrorWhereAFolderHasItsName)
{
    fs::create_directories(in("file.new") / "deep");
    EXPECT_THROW(replaceFile(in("file"), "one"), std::system_error);
    EXPECT_FALSE(fs::exists(in("file")));
}

} // namespace
} // namespace healthintf::host
