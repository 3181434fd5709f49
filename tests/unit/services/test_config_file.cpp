// SPDX-License-Identifier: Apache-2.0
#include "common/config_file.hpp"
#include "common/config_table.hpp"
#include "config_refusal.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace healthintf::services
{
namespace
{

TEST(ConfigFile, IsReadWhole)
{
    const test::TemporaryFolder folder;
    EXPECT_EQ(readConfigFile(folder.write("f", std::string("a\0b\n", 4))),
              std::string("a\0b\n", 4));
}

TEST(ConfigFile, IsNamedWhenItCannotBeRead)
{
    const test::TemporaryFolder folder;
    const std::string file = folder.path() / "none";
    EXPECT_EQ(test::catchConfigError([&] {
                  readConfigFile(file);
              }),
              file + ": unable to read it: No such file or directory");
    EXPECT_EQ(test::catchConfigError([&] {
                  readConfigFile(folder.path());
              }),
              folder.path().string() + ": unable to read it: Is a directory");
}

TEST(ConfigFile, MayHaveOneMebibyte)
{
    const test::TemporaryFolder folder;
    const std::string most(1 << 20, '#');
    EXPECT_EQ(readConfigFile(folder.write("most", most)), most);
    const std::string file = folder.write("more", most + "#");
    EXPECT_EQ(test::catchConfigError([&] {
                  readConfigFile(file);
              }),
              file + ": unable to read it: it has more than 1 MiB");
}

TEST(ConfigFile, MayHaveWhatItsReaderAllows)
{
    const test::TemporaryFolder folder;
    constexpr std::size_t two = 2;
    const std::string most(two << 20U, '#');
    EXPECT_EQ(readConfigFile(folder.write("most", most), two), most);
    const std::string file = folder.write("more", most + "#");
    EXPECT_EQ(test::catchConfigError([&] {
                  readConfigFile(file, two);
              }),
              file + ": unable to read it: it has more than 2 MiB");
}

TEST(ConfigFile, IsRefusedWhenItIsNoRegularFile)
{
    const test::TemporaryFolder folder;
    const std::string pipe = folder.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& endless : {pipe, std::string("/dev/zero")})
    {
        EXPECT_EQ(test::catchConfigError([&] {
                      readConfigFile(endless);
                  }),
                  endless + ": unable to read it: it is no regular file");
    }
}

TEST(ConfigFile, IsTheDefaultOneWhereNoneIsNamed)
{
    const test::TemporaryFolder folder;
    const auto named = folder.write("named.toml", "a = 1");
    const auto usual = folder.path() / "usual.toml";
    EXPECT_EQ(readConfig("", usual).text, "");
    EXPECT_EQ(readConfig("", usual).name, usual.string());
    folder.write("usual.toml", "b = 2");
    EXPECT_EQ(readConfig("", usual).text, "b = 2");
    EXPECT_EQ(readConfig(named, usual).text, "a = 1");
    EXPECT_EQ(readConfig(named, usual).name, named.string());
    EXPECT_THROW(readConfig(folder.path() / "missing", usual), ConfigError);
}

TEST(ConfigFile, IsNamedWithTheLineThatIsNoToml)
{
    EXPECT_EQ(parseToml("a = 1\n", "f").size(), 1U);
    EXPECT_EQ(test::catchConfigError([] {
                  parseToml("a = 1\nb =\n", "f");
              }).substr(0, 5),
              "f:2: ");
}

} // namespace
} // namespace healthintf::services
