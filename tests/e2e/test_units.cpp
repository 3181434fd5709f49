/** @file The units, users and folders that the project brings for systemd, as
 *  systemd's own tools see them. */

#include "file_content.hpp"
#include "installation.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
namespace fs = std::filesystem;

class InstalledUnit : public testing::TestWithParam<std::string>
{
  protected:
    fs::path unit() const
    {
        return installation().at(UNIT_FOLDER "/" + GetParam() + ".service");
    }
};

TEST_P(InstalledUnit, ExposesLittle)
{
    const std::string said = outputOf({"systemd-analyze", "security",
                                       "--offline=true", "--no-pager", unit()});
    std::smatch found;
    ASSERT_TRUE(std::regex_search(
        said, found,
        std::regex("Overall exposure level for .*: ([0-9]+\\.[0-9]+)")))
        << said;
    EXPECT_LT(std::stod(found[1]), 3.0) << said;
}

TEST_P(InstalledUnit, IsUnderstoodBySystemd)
{
    // The program is looked for, and lies in the test's folder.
    std::string text = contentOf(unit());
    const std::string program = LIBEXEC_FOLDER "/healthintf/" + GetParam();
    const std::size_t place = text.find("ExecStart=" + program + "\n");
    ASSERT_NE(place, std::string::npos);
    text.replace(text.find(program, place), program.size(),
                 installation().program(GetParam()));
    const auto copy =
        installation().files().write("units/" + GetParam() + ".service", text);
    Process verify({"systemd-analyze", "verify", "--man=no",
                    "--recursive-errors=no", copy});
    EXPECT_EQ(verify.wait(), 0);
    EXPECT_EQ(verify.errors(), "");
}

TEST_P(InstalledUnit, IsWatchedOverAndRunsAsTheServicesUser)
{
    const std::string text = contentOf(unit());
    for (const char* wanted :
         {"\nType=notify\n", "\nWatchdogSec=", "\nRestart=on-failure\n",
          "\nUser=healthintf\n", "\nGroup=healthintf\n"})
    {
        EXPECT_THAT(text, HasSubstr(wanted));
    }
}

INSTANTIATE_TEST_SUITE_P(Each, InstalledUnit, testing::ValuesIn(words(UNITS)),
                         [](const auto& unit) {
                             std::string name = unit.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(InstalledForSystemd, ActivationFilesNameTheUnits)
{
    for (const std::string name : {"healthmgr", "logmgr"})
    {
        EXPECT_THAT(
            contentOf(installation().at(PREFIX "/share/dbus-1/system-services/"
                                               "com.vexa.olvar." +
                                        name + ".service")),
            HasSubstr("SystemdService=" + name + ".service\n"));
        EXPECT_TRUE(
            fs::exists(installation().at(UNIT_FOLDER "/" + name + ".service")));
    }
}

TEST(InstalledForSystemd, UserAndFoldersAreMadeInARoot)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to make users and folders";
    }
    const fs::path root = installation().files().path() / "root";
    fs::create_directories(root / "etc");
    outputOf({"systemd-sysusers", "--root=" + root.string(),
              installation().at(SYSUSERS_FOLDER "/healthintf.conf")});
    EXPECT_THAT(contentOf(root / "etc/passwd"), HasSubstr("healthintf:"));
    EXPECT_THAT(contentOf(root / "etc/group"), HasSubstr("healthintf:"));
    outputOf({"systemd-tmpfiles", "--create", "--root=" + root.string(),
              installation().at(TMPFILES_FOLDER "/healthintf.conf")});
    const auto shared = fs::perms::owner_all | fs::perms::group_all |
                        fs::perms::others_read | fs::perms::others_exec |
                        fs::perms::set_gid;
    for (const char* folder :
         {"run/healthintf/datacache", "var/lib/healthintf/config"})
    {
        EXPECT_EQ(fs::status(root / folder).permissions(), shared) << folder;
    }
    EXPECT_EQ(fs::status(root / "var/lib/healthintf/sel").permissions(),
              fs::perms::owner_all);
}

} // namespace
} // namespace healthintf::test
