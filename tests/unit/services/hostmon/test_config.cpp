// SPDX-License-Identifier: Apache-2.0
#include "../config_refusal.hpp"
#include "common/config_table.hpp"
#include "config.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace healthintf::hostmon
{
namespace
{

using std::chrono::milliseconds;

const std::string host = "/com/vexa/olvar/health/host";

Config parse(const std::string& text)
{
    return parseConfig(text, "file.toml");
}

std::string catchError(const std::string& text)
{
    return test::catchConfigError([&text] {
        parse(text);
    });
}

TEST(ConfigText, DescribesEveryKindOfWatch)
{
    const Config config = parse(R"(
interval = 0.5
[[filesystem]]
path = "/var"
warning = 80
critical = 90.5
hysteresis = 1
[[memory]]
warning = 20
critical = 10
[[load]]
minutes = 1
warning = 2
critical = 4
[[pressure]]
resource = "io"
seconds = 10
warning = 5
critical = 50
[[temperature]]
sensor = "chip/temp1"
warning = 80
critical = 90
[[process]]
name = "sshd"
[[process]]
pidfile = "/run/x.pid"
severity = "warning"
)");
    EXPECT_EQ(config.interval, milliseconds(500));
    ASSERT_EQ(config.watches.size(), 7u);
    const auto& w = config.watches;
    EXPECT_EQ(std::get<Filesystem>(w[0].subject).path, "/var");
    EXPECT_EQ(w[0].limits.direction, Direction::above);
    EXPECT_EQ(w[0].limits.warning, 80);
    EXPECT_EQ(w[0].limits.critical, 90.5);
    EXPECT_EQ(w[0].limits.hysteresis, 1);
    EXPECT_EQ(w[0].component, host + "/filesystem");
    EXPECT_TRUE(std::holds_alternative<Memory>(w[1].subject));
    EXPECT_EQ(w[1].limits.direction, Direction::below);
    EXPECT_EQ(w[1].limits.hysteresis, 2) << "the usual one";
    EXPECT_EQ(std::get<Load>(w[2].subject).minutes, 1);
    EXPECT_EQ(std::get<Pressure>(w[3].subject).resource, "io");
    EXPECT_EQ(std::get<Pressure>(w[3].subject).seconds, 10);
    EXPECT_EQ(std::get<Temperature>(w[4].subject).sensor, "chip/temp1");
    EXPECT_EQ(std::get<ProcessAlive>(w[5].subject).name, "sshd");
    EXPECT_EQ(LevelTracker(w[5].limits).nextLevel(0), Level::critical);
    EXPECT_EQ(LevelTracker(w[5].limits).nextLevel(1), Level::ok);
    EXPECT_EQ(std::get<ProcessAlive>(w[6].subject).pidfile, "/run/x.pid");
    EXPECT_EQ(LevelTracker(w[6].limits).nextLevel(0), Level::warning);
}

TEST(ConfigText, HasDefaultValues)
{
    const Config config = parse(R"([[temperature]]
warning = 80
critical = 90)");
    EXPECT_EQ(config.interval, milliseconds(5000));
    EXPECT_EQ(std::get<Temperature>(config.watches[0].subject).sensor, "*");
}

TEST(ConfigText, PutsComponentsAtTheConfiguredKeys)
{
    const Config config = parse(R"(
component = "/com/vexa/olvar/health/rack"
[[memory]]
warning = 20
critical = 10
[[memory]]
component = "/com/vexa/olvar/health/other/memory"
warning = 20
critical = 10
)");
    EXPECT_EQ(config.watches[0].component,
              "/com/vexa/olvar/health/rack/memory");
    EXPECT_EQ(config.watches[1].component,
              "/com/vexa/olvar/health/other/memory");
}

TEST(ConfigText, RefusesTheSameSubjectTwiceOnOneComponent)
{
    const std::string memory = "[[memory]]\nwarning = 2\ncritical = 1\n";
    const std::string component =
        "component = \"/com/vexa/olvar/health/host/memory\"\n";
    EXPECT_EQ(catchError(memory + memory),
              "file.toml:4: memory.component: is watched for the same thing by "
              "another table: name another component");
    EXPECT_EQ(catchError(memory + memory + component),
              "file.toml:7: memory.component: is watched for the same thing by "
              "another table: name another component");
    EXPECT_EQ(
        parse(memory + "[[load]]\nwarning = 1\ncritical = 2\n" + component)
            .watches.size(),
        2U);
}

TEST(ConfigText, NamesFileLineAndKeyOfAnError)
{
    EXPECT_EQ(catchError("\ninterval = 0"),
              "file.toml:2: interval: must be a number from 0.1 to 86400");
    EXPECT_EQ(catchError("speed = 1"), "file.toml:1: speed: is no known key");
    EXPECT_EQ(catchError("[[memory]]\nwarning = 5\ncritical = 6"),
              "file.toml:3: memory.critical: must not be above warning");
    EXPECT_EQ(catchError("[[load]]\nwarning = 5\ncritical = 4"),
              "file.toml:3: load.critical: must not be below warning");
    EXPECT_EQ(catchError("[[memory]]\n\nwarning = 200"),
              "file.toml:3: memory.warning: must be a number from 0 to 100");
    EXPECT_EQ(catchError("\n[[memory]]\nwarning = 2"),
              "file.toml:2: memory.critical: must be a number from 0 to 100");
    EXPECT_EQ(catchError("[[memory]]\nwarning = 9\ncritical = 1\nsize = 1"),
              "file.toml:4: memory.size: is no known key");
    EXPECT_EQ(catchError("memory = 5"),
              "file.toml:1: memory: must be written [[memory]]");
    EXPECT_EQ(catchError("[memory]\nwarning = 9"),
              "file.toml:1: memory: must be written [[memory]]");
    EXPECT_EQ(catchError("[[filesystem]]\npath = \"var\""),
              "file.toml:2: filesystem.path: must begin with a slash");
    EXPECT_EQ(catchError("[[filesystem]]\nwarning = 1"),
              "file.toml:1: filesystem.path: must be a text");
    EXPECT_EQ(catchError("[[process]]\nname = \"a\"\npidfile = \"b\""),
              "file.toml:2: process.name: give either name or pidfile");
    EXPECT_EQ(catchError("[[process]]\nseverity = \"critical\""),
              "file.toml:1: process.name: give either name or pidfile");
    for (const char* name : {"|", "a|", "|a", "a||b"})
    {
        EXPECT_EQ(
            catchError("[[process]]\nname = \"" + std::string(name) + "\""),
            "file.toml:2: process.name: must have a name on each side of "
            "\"|\"");
    }
    EXPECT_EQ(catchError("[[process]]\nname = \"a\\u0000b\""),
              "file.toml:2: process.name: must have no NUL");
    EXPECT_EQ(catchError("[[process]]\nname = \"a\"\nseverity = \"bad\""),
              "file.toml:3: process.severity: must be one of \"critical\", "
              "\"warning\"");
    EXPECT_EQ(catchError("component = \"/elsewhere\""),
              "file.toml:1: component: must be an object path below "
              "/com/vexa/olvar/health");
    EXPECT_EQ(catchError("component = \"/com/vexa/olvar/health/a b\""),
              "file.toml:1: component: must be an object path below "
              "/com/vexa/olvar/health");
}

/** The hysteresis of the only table in a configuration. */
double readHysteresis(const std::string& text)
{
    return parse(text).watches.at(0).limits.hysteresis;
}

TEST(ConfigText, RefusesAHysteresisWithWhichFaultsWouldNeverEnd)
{
    const std::string cause = "must be less than 1, or a fault would never end";
    EXPECT_EQ(catchError("[[load]]\nwarning = 1\ncritical = 9\nhysteresis = 1"),
              "file.toml:4: load.hysteresis: " + cause);
    EXPECT_EQ(catchError("[[memory]]\nwarning = 99\ncritical = 9\n"
                         "hysteresis = 1"),
              "file.toml:4: memory.hysteresis: " + cause);
    EXPECT_EQ(readHysteresis("[[load]]\nwarning = 1\ncritical = 9\n"
                             "hysteresis = 0.9"),
              0.9);
    EXPECT_EQ(readHysteresis("[[memory]]\nwarning = 99\ncritical = 9\n"
                             "hysteresis = 0.9"),
              0.9);
    EXPECT_EQ(readHysteresis("[[temperature]]\nwarning = 1\ncritical = 9\n"
                             "hysteresis = 9"),
              9)
        << "temperatures may be below 0";
    EXPECT_EQ(readHysteresis("[[load]]\nwarning = 0\ncritical = 9\n"
                             "hysteresis = 1"),
              1)
        << "the limit itself is always reached";
}

TEST(ConfigText, HasASmallerUsualHysteresisWhereFaultsWouldNeverEnd)
{
    const std::string pressure = "[[pressure]]\nresource = \"cpu\"\n"
                                 "critical = 50\nwarning = ";
    EXPECT_EQ(readHysteresis(pressure + "5"), 2);
    EXPECT_EQ(readHysteresis(pressure + "4"), 2);
    EXPECT_EQ(readHysteresis(pressure + "1"), 0.5);
    EXPECT_EQ(readHysteresis("[[memory]]\nwarning = 99\ncritical = 9"), 0.5);
}

TEST(ConfigText, RefusesKeysOfFaultEntries)
{
    const std::string memory = "[[memory]]\nwarning = 2\ncritical = 1\n";
    for (const std::string part : {"entry/a", "a/entry/b", "a/entry"})
    {
        EXPECT_EQ(catchError(memory + "component = \"/com/vexa/olvar/health/" +
                             part + "\""),
                  "file.toml:4: memory.component: must have no part \"entry\", "
                  "which faults have");
    }
    EXPECT_EQ(parse(memory + "component = \"/com/vexa/olvar/health/entry1\"")
                  .watches.size(),
              1u);
}

TEST(ConfigText, MustWatchSomething)
{
    EXPECT_EQ(catchError(""), "file.toml:1: no table says what to watch");
    EXPECT_EQ(catchError("memory = []"),
              "file.toml:1: memory: must be written [[memory]]");
}

TEST(ConfigText, MustBeToml)
{
    EXPECT_EQ(catchError("a = 1\nb =\n").substr(0, 13), "file.toml:2: ");
    EXPECT_EQ(catchError("\xFF").substr(0, 13), "file.toml:1: ");
}

TEST(ConfigFile, IsReadFromItsPath)
{
    const test::TemporaryFolder folder;
    const auto file =
        folder.write("a.toml", "[[memory]]\nwarning = 9\ncritical = 1\n");
    EXPECT_EQ(loadConfig(file).watches.size(), 1u);
}

TEST(ConfigFile, IsNamedWhenItCannotBeRead)
{
    const auto error = [](const std::string& path) -> std::string {
        try
        {
            loadConfig(path);
        }
        catch (const services::ConfigError& e)
        {
            return e.what();
        }
        return "read";
    };
    EXPECT_EQ(error("/nonexistent/a.toml"),
              "/nonexistent/a.toml: unable to read it: No such file or "
              "directory");
    EXPECT_EQ(error("/tmp"), "/tmp: unable to read it: Is a directory");
}

TEST(ConfigFile, ThatComesWithTheProjectGivesEachDeviceAComponent)
{
    const auto watches = loadConfig(SHIPPED_CONFIG).watches;
    EXPECT_TRUE(std::ranges::any_of(watches, [](const WatchConfig& watch) {
        const auto* temperature = std::get_if<Temperature>(&watch.subject);
        return temperature != nullptr && temperature->sensor == "*" &&
               temperature->eachDevice;
    }));
}

TEST(ConfigFile, ThatComesWithTheProjectIsValid)
{
    EXPECT_GE(loadConfig(SHIPPED_CONFIG).watches.size(), 6u);
}

} // namespace
} // namespace healthintf::hostmon
