// SPDX-License-Identifier: Apache-2.0
#include "common/config_table.hpp"
#include "config.hpp"
#include "config_refusal.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::ElementsAre;

const std::string root = "/com/vexa/olvar/health";

Config parse(const std::string& text)
{
    return parseConfig(text, "f");
}

std::string catchError(const std::string& text)
{
    return test::catchConfigError([&text] {
        parse(text);
    });
}

TEST(ManagerConfig, ReportsAllLostMonitorsByDefault)
{
    EXPECT_TRUE(parse("").reportsLostMonitors);
    EXPECT_THAT(parse("").lostMonitorKeys, ElementsAre(root));
    EXPECT_TRUE(parse("").reportsLostMonitorOf(root));
    EXPECT_TRUE(parse("").reportsLostMonitorOf(root + "/fans/fan1"));
}

TEST(ManagerConfig, ReportsNoLostMonitorWhereItSaysSo)
{
    const Config config = parse("report-lost-monitors = false\n");
    EXPECT_FALSE(config.reportsLostMonitors);
    EXPECT_FALSE(config.reportsLostMonitorOf(root + "/fans/fan1"));
    EXPECT_FALSE(
        parse("lost-monitor-components = []").reportsLostMonitorOf(root));
}

TEST(ManagerConfig, ReportsLostMonitorsOfTheNamedComponentsAndThoseBelow)
{
    const Config config = parse("lost-monitor-components = [\"" + root +
                                "/fans\", \"" + root + "/disks/disk1\"]\n");
    EXPECT_THAT(config.lostMonitorKeys,
                ElementsAre(root + "/fans", root + "/disks/disk1"));
    for (const char* reported : {"/fans", "/fans/fan1", "/disks/disk1/media"})
    {
        EXPECT_TRUE(config.reportsLostMonitorOf(root + reported)) << reported;
    }
    for (const char* other : {"", "/fans2", "/disks", "/disks/disk10"})
    {
        EXPECT_FALSE(config.reportsLostMonitorOf(root + other)) << other;
    }
}

TEST(ManagerConfig, NamesTheLineAndTheKeyThatAreWrong)
{
    EXPECT_EQ(catchError("\nreport-lost-monitors = 1"),
              "f:2: report-lost-monitors: must be true or false");
    EXPECT_EQ(catchError("lost-monitor-components = \"" + root + "\""),
              "f:1: lost-monitor-components: must be a list of texts");
    EXPECT_EQ(catchError("report = true"), "f:1: report: is no known key");
}

TEST(ManagerConfig, RefusesAComponentThatIsNoKey)
{
    for (const std::string& wrong :
         {std::string("fans"), std::string("/fans"), root + "/fans/",
          root + "/fan-1", root + "s"})
    {
        EXPECT_THAT(catchError("lost-monitor-components = [\"" + root +
                               "\", \"" + wrong + "\"]"),
                    testing::StartsWith("f:1: lost-monitor-components: " +
                                        wrong + " is no component: "));
    }
}

TEST(ManagerConfig, MayBeMissingAtTheDefaultPath)
{
    const test::TemporaryFolder folder;
    const auto none = folder.path() / "none";
    const auto file = folder.write("file", "report-lost-monitors = false");
    EXPECT_TRUE(loadConfig("", none).reportsLostMonitors);
    EXPECT_FALSE(loadConfig("", file).reportsLostMonitors);
    EXPECT_FALSE(loadConfig(file, none).reportsLostMonitors);
    EXPECT_THROW(loadConfig(none, file), services::ConfigError);
}

TEST(ManagerConfig, IsShippedWithTheDefaultValues)
{
    const Config shipped = loadConfig(SHIPPED_CONFIG, "");
    EXPECT_EQ(shipped.reportsLostMonitors, parse("").reportsLostMonitors);
    EXPECT_EQ(shipped.lostMonitorKeys, parse("").lostMonitorKeys);
}

} // namespace
} // namespace healthintf::healthmgr
