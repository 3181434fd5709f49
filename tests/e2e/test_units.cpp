// SPDX-License-Identifier: Apache-2.0
/** @file The installed units, users and folders, checked by systemd's tools. */

#include "file_content.hpp"
#include "installation.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::AnyOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

class InstalledUnit : public testing::TestWithParam<std::string>
{
  protected:
    fs::path unit() const
    {
        return installation().at(UNIT_FOLDER "/" + GetParam() + ".service");
    }
};

TEST_P(InstalledUnit, PassesTheSecurityReview)
{
    const std::string said =
        readOutput({"systemd-analyze", "security", "--offline=true",
                    "--no-pager", unit()});
    std::smatch found;
    ASSERT_TRUE(std::regex_search(
        said, found,
        std::regex("Overall exposure level for .*: ([0-9]+\\.[0-9]+)")))
        << said;
    EXPECT_LT(std::stod(found[1]), 3.0) << said;
}

TEST_P(InstalledUnit, IsValidForSystemd)
{
    // systemd looks for the program, which lies in the test's folder.
    std::string text = readContent(unit());
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

TEST_P(InstalledUnit, HasAWatchdogAndRestartsForEver)
{
    const std::string text = readContent(unit());
    for (const char* wanted :
         {"\nType=notify\n", "\nWatchdogSec=", "\nRestart=always\n",
          "\nRestartSec=", "\nStartLimitIntervalSec=0\n", "\nMemoryMax="})
    {
        EXPECT_THAT(text, HasSubstr(wanted));
    }
}

TEST_P(InstalledUnit, StartsAgainAlsoAfterABusThatDidNotStart)
{
    // systemd gives up a service for good when what it requires fails.
    const std::string text = readContent(unit());
    EXPECT_THAT(text, Not(HasSubstr("\nRequires=")));
    EXPECT_THAT(text, ContainsRegex("\nWants=(.* )?dbus[.]socket"));
    EXPECT_THAT(text, ContainsRegex("\nAfter=(.* )?dbus[.]socket"));
}

TEST_P(InstalledUnit, EndsBeforeTheBusWhenTheMachineShutsDown)
{
    // systemd ends units that have an order in the opposite one. The order
    // after the socket alone does not hold for the bus itself.
    EXPECT_THAT(readContent(unit()),
                ContainsRegex("\nAfter=(.* )?dbus[.]service( |\n)"));
}

TEST_P(InstalledUnit, RunsAsAUserOfItsOwn)
{
    const std::string user = GetParam() == "healthmgr" ? "healthintf"
                             : GetParam() == "health-exporter"
                                 ? "healthintf-exporter"
                                 : "healthintf-" + GetParam();
    const std::string text = readContent(unit());
    EXPECT_THAT(text, HasSubstr("\nUser=" + user + "\n"));
    EXPECT_THAT(text, HasSubstr("\nGroup=" + user + "\n"));
    EXPECT_THAT(
        readContent(installation().at(SYSUSERS_FOLDER "/healthintf.conf")),
        HasSubstr("\nu " + user + " "));
}

TEST_P(InstalledUnit, MayWriteOnlyItsOwnFolders)
{
    const std::map<std::string, std::string> writable{
        {"healthmgr", "/run/healthintf /var/lib/healthintf"},
        {"hostmon", "/run/healthintf"},
    };
    const std::string text = readContent(unit());
    std::smatch found;
    const bool any =
        std::regex_search(text, found, std::regex("\nReadWritePaths=(.*)\n"));
    const auto wanted = writable.find(GetParam());
    ASSERT_EQ(any, wanted != writable.end());
    if (any)
    {
        EXPECT_EQ(found[1], wanted->second);
        // systemd starts no unit whose folders are missing.
        EXPECT_THAT(text, ContainsRegex("\nWants=.*healthintf-folders"));
        EXPECT_THAT(text, ContainsRegex("\nAfter=.*healthintf-folders"));
    }
    EXPECT_THAT(text, HasSubstr("\nUMask=0022\n"));
}

TEST(InstalledForSystemd, HostMonitorMayReportAsWhateverUserItRuns)
{
    EXPECT_THAT(readContent(installation().at(UNIT_FOLDER "/hostmon.service")),
                HasSubstr("\nSupplementaryGroups=healthintf\n"));
}

TEST(InstalledForSystemd, HostMonitorSeesWhichFilesystemAFolderIsOn)
{
    // What a unit may not access is a folder of /run to it.
    EXPECT_THAT(readContent(installation().at(UNIT_FOLDER "/hostmon.service")),
                Not(HasSubstr("\nInaccessiblePaths=")));
}

TEST(InstalledForSystemd, LogmgrsFoldersAreCreatedAtEachStart)
{
    const std::string text =
        readContent(installation().at(UNIT_FOLDER "/logmgr.service"));
    for (const char* wanted :
         {"\nStateDirectory=healthintf/sel healthintf/history\n",
          "\nRuntimeDirectory=healthintf/sel\n",
          "\nRuntimeDirectoryMode=0755\n", "\nRuntimeDirectoryPreserve=yes\n"})
    {
        EXPECT_THAT(text, HasSubstr(wanted));
    }
}

TEST(InstalledForSystemd, FoldersAreMadeByAUnitThatMayRunAtEachStart)
{
    const fs::path unit =
        installation().at(UNIT_FOLDER "/healthintf-folders.service");
    const std::string text = readContent(unit);
    for (const char* wanted :
         {"\nType=oneshot\n", "\nStartLimitIntervalSec=0\n",
          "\nExecStart=systemd-tmpfiles --create healthintf.conf\n",
          // By itself such a unit may start without end.
          "\nTimeoutStartSec="})
    {
        EXPECT_THAT(text, HasSubstr(wanted));
    }
    // Once it has run it must not count as started.
    EXPECT_THAT(text, Not(HasSubstr("RemainAfterExit")));
    Process verify({"systemd-analyze", "verify", "--man=no",
                    "--recursive-errors=no", unit});
    EXPECT_EQ(verify.wait(), 0);
    EXPECT_EQ(verify.errors(), "");
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
        EXPECT_THAT(readContent(installation().at(
                        PREFIX "/share/dbus-1/system-services/"
                               "com.vexa.olvar." +
                        name + ".service")),
                    HasSubstr("SystemdService=" + name + ".service\n"));
        EXPECT_TRUE(
            fs::exists(installation().at(UNIT_FOLDER "/" + name + ".service")));
    }
}

TEST(InstalledForSystemd, UnitsAreEachInAPackageOfTheYoctoRecipe)
{
    // bitbake packs the units that are to be enabled, and none that they want.
    const std::string recipe =
        readContent(SOURCE_FOLDER "/examples/yocto/meta-healthintf/"
                                  "recipes-healthintf/healthintf/"
                                  "healthintf.inc");
    for (const auto& unit :
         fs::directory_iterator(installation().at(UNIT_FOLDER)))
    {
        const std::string name = unit.path().filename();
        EXPECT_THAT(
            recipe,
            AnyOf(ContainsRegex("\nSYSTEMD_SERVICE:[^ ]* = \"" + name + "\"\n"),
                  HasSubstr("{systemd_system_unitdir}/" + name)))
            << name;
    }
}

/** Users and folders that systemd creates below a root folder of the test. */
class InstalledFolders : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (geteuid() != 0)
        {
            GTEST_SKIP() << "needs root, to make users and folders";
        }
        fs::create_directories(root / "etc");
        readOutput({"systemd-sysusers", "--root=" + root.string(),
                    installation().at(SYSUSERS_FOLDER "/healthintf.conf")});
    }

    ~InstalledFolders() override
    {
        fs::remove_all(root);
    }

    void make() const
    {
        readOutput({"systemd-tmpfiles", "--create", "--remove",
                    "--root=" + root.string(),
                    installation().at(TMPFILES_FOLDER "/healthintf.conf")});
    }

    /** The id of a user or group of the root folder. */
    std::string readNumber(const std::string& file,
                           const std::string& name) const
    {
        const std::string text = "\n" + readContent(root / "etc" / file);
        std::smatch found;
        return std::regex_search(text, found,
                                 std::regex("\n" + name + ":x:([0-9]+):"))
                   ? found[1].str()
                   : "no " + name + " in " + file;
    }

    /** Expects the mode and the owner of a folder or file. */
    void expect(const std::string& path, const std::string& mode,
                const std::string& owner) const
    {
        EXPECT_EQ(
            readOutput({"stat", "--format=%a %u %g", root / path}),
            mode + " " + (owner == "root" ? "0" : readNumber("passwd", owner)) +
                " " + (owner == "root" ? "0" : readNumber("group", owner)) +
                "\n")
            << path;
    }

    void expectFolders() const
    {
        expect("run/healthintf", "755", "root");
        expect("run/healthintf/datacache", "1775", "healthintf");
        expect("run/healthintf/sel", "755", "healthintf-logmgr");
        expect("var/lib/healthintf", "755", "root");
        expect("var/lib/healthintf/config", "755", "healthintf");
        expect("var/lib/healthintf/healthmgr", "755", "healthintf");
        expect("var/lib/healthintf/sel", "700", "healthintf-logmgr");
        expect("var/lib/healthintf/history", "700", "healthintf-logmgr");
    }

    const fs::path root = installation().files().path() / "root";
};

TEST_F(InstalledFolders, AreWritableForAGroupOnlyWhenTheyAreSticky)
{
    make();
    expectFolders();
}

TEST_F(InstalledFolders, LetTheHostMonitorReportAndNotOperate)
{
    const std::string groups = "\n" + readContent(root / "etc/group");
    EXPECT_TRUE(std::regex_search(
        groups, std::regex("\nhealthintf:x:[0-9]+:healthintf-hostmon\n")))
        << groups;
    EXPECT_TRUE(std::regex_search(
        groups, std::regex("\nhealthintf-operators:x:[0-9]+:\n")))
        << groups;
}

TEST_F(InstalledFolders, AreCorrectedWhereAnOlderVersionCreatedThem)
{
    const auto make2775 = [this](const std::string& path) {
        fs::create_directories(root / path);
        readOutput({"chown",
                    readNumber("passwd", "healthintf") + ":" +
                        readNumber("group", "healthintf"),
                    root / path});
        readOutput({"chmod", "2775", root / path});
    };
    make2775("run/healthintf");
    make2775("run/healthintf/datacache");
    make2775("var/lib/healthintf/config");
    make2775("var/lib/healthintf/sel");
    const std::vector<std::string> old{
        "run/healthintf/datacache/users", "run/healthintf/datacache/lock.mdb",
        "run/healthintf/datacache/data.mdb", "var/lib/healthintf/config/lock"};
    const std::vector<std::string> kept{
        "var/lib/healthintf/config/attributes.json",
        "var/lib/healthintf/sel/data.mdb"};
    for (const auto& files : {old, kept})
    {
        for (const std::string& file : files)
        {
            std::ofstream(root / file) << file;
        }
    }
    fs::permissions(root / kept[1],
                    fs::perms::owner_read | fs::perms::owner_write);
    make();
    expectFolders();
    for (const std::string& file : old)
    {
        EXPECT_FALSE(fs::exists(root / file)) << file;
    }
    for (const std::string& file : kept)
    {
        EXPECT_EQ(readContent(root / file), file);
    }
    expect(kept[1], "600", "healthintf-logmgr");
}

} // namespace
} // namespace healthintf::test
