// SPDX-License-Identifier: Apache-2.0
/** @file healthctl doctor on healthy and broken systems. */

#include "healthctl.hpp"
#include "log_client.hpp"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const std::string root = "/com/vexa/olvar/health";

class HealthctlDoctor : public testing::Test
{
  protected:
    HealthctlDoctor()
    {
        setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
        setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
    }

    /** The worst finding of each check. */
    static std::map<std::string, json> findings(int status)
    {
        const std::map<std::string, int> ranks{
            {"ok", 0}, {"warning", 1}, {"problem", 2}};
        std::map<std::string, json> worst;
        const json report = toJson({"doctor"}, status);
        for (const json& finding : report["findings"])
        {
            json& known = worst[finding["check"]];
            if (known.is_null() ||
                ranks.at(finding["grade"]) > ranks.at(known["grade"]))
            {
                known = finding;
            }
        }
        return worst;
    }

    PrivateBus bus;
    LogClient client;
};

TEST_F(HealthctlDoctor, FindsNothingWrongWithARunningSystem)
{
    const Process logmgr = client.start();
    const Process healthmgr({HEALTHMGR});
    Component fan(root + "/rack/fan", 2);
    client.waitForHealth(root, 2);
    const json report = toJson({"doctor"});
    EXPECT_EQ(report["problems"], 0);
    EXPECT_EQ(report["warnings"], 0);
    EXPECT_GT(report["ok"], 15);
    EXPECT_EQ(client.property("Entries"), "0");
    const Answer brief = healthctl({"doctor", "--brief"});
    EXPECT_EQ(brief.status, 0);
    EXPECT_THAT(brief.output, HasSubstr("0 problems, 0 warnings, "));
}

/** A daemon with a few more match rules than 410, four fifths of the limit 512.
 *  A component takes three rules, or one on dbus-broker. */
class HealthctlMatchRules : public testing::Test
{
  protected:
    explicit HealthctlMatchRules(unsigned limit) :
        bus(openRules + matchRuleLimit(limit))
    {
        const int components = busKind() == BusKind::broker ? 411 : 137;
        for (int i = 0; i < components; ++i)
        {
            daemon.init(root + "/c" + std::to_string(i), 2);
        }
    }

    static json finding()
    {
        const json report = toJson({"doctor"}, 1);
        for (const json& each : report["findings"])
        {
            if (each["check"] == "limits.match-rules")
            {
                return each;
            }
        }
        return {};
    }

    PrivateBus bus;
    Component daemon;
};

class SmallMatchLimit : public HealthctlMatchRules
{
  protected:
    SmallMatchLimit() : HealthctlMatchRules(512)
    {}
};

TEST_F(SmallMatchLimit, CausesAWarning)
{
    const json warned = finding();
    EXPECT_EQ(warned["grade"], "warning");
    EXPECT_THAT(warned["text"].get<std::string>(),
                HasSubstr("; the bus allows 512"));
}

class LargeMatchLimit : public HealthctlMatchRules
{
  protected:
    LargeMatchLimit() : HealthctlMatchRules(4096)
    {}
};

TEST_F(LargeMatchLimit, IsReportedInsteadOfTheUsualOne)
{
    const json good = finding();
    EXPECT_EQ(good["grade"], "ok");
    EXPECT_THAT(good["text"].get<std::string>(),
                HasSubstr(busKind() == BusKind::broker
                              ? "; the bus allows 4096"
                              : "; the bus allows at least 5"));
}

TEST_F(HealthctlDoctor, ReportsMissingServices)
{
    const auto found = findings(1);
    EXPECT_EQ(found.at("service.healthmgr")["grade"], "problem");
    EXPECT_EQ(found.at("service.logmgr")["grade"], "problem");
    EXPECT_EQ(found.at("bus")["grade"], "ok");
    EXPECT_EQ(found.at("cache.folder")["grade"], "warning");
}

TEST_F(HealthctlDoctor, SaysThatTheBusCanStartAServiceAndDoesNotStartIt)
{
    bus.activate("com.vexa.olvar.healthmgr", HEALTHMGR);
    bus.activate("com.vexa.olvar.logmgr", LOGMGR);
    const auto found = findings(0);
    EXPECT_EQ(found.at("service.healthmgr")["grade"], "warning");
    EXPECT_THAT(std::string(found.at("service.healthmgr")["remedy"]),
                HasSubstr("busctl call com.vexa.olvar.healthmgr"));
    EXPECT_EQ(client.findOwner("com.vexa.olvar.healthmgr"), "");
    EXPECT_EQ(client.findOwner("com.vexa.olvar.logmgr"), "");
}

TEST_F(HealthctlDoctor, FindsAServiceThatDoesNotAnswer)
{
    const Process logmgr = client.start();
    const Process healthmgr({HEALTHMGR});
    const Component fan(root + "/fan", 2);
    client.waitForHealth(root, 2);
    kill(healthmgr.pid(), SIGSTOP);
    const auto found = findings(1);
    EXPECT_EQ(found.at("service.healthmgr")["grade"], "problem");
    EXPECT_EQ(found.at("service.healthmgr")["text"],
              "healthmgr runs as process " + std::to_string(healthmgr.pid()) +
                  " and does not answer");
    EXPECT_THAT(std::string(found.at("policy.healthmgr")["text"]),
                HasSubstr("was not tried: it does not answer"));
    EXPECT_EQ(found.at("service.logmgr")["grade"], "ok");
    EXPECT_EQ(found.at("policy.read-log")["grade"], "ok");
}

TEST_F(HealthctlDoctor, NamesADaemonThatIsStopped)
{
    const Process healthmgr({HEALTHMGR});
    Component fan(root + "/fan", 2);
    Component psu(root + "/psu", 2);
    client.waitForHealth(root, 2);
    EXPECT_EQ(findings(1).at("tree.holders")["grade"], "ok");
    fan.process.signal(SIGSTOP);
    const json found = findings(1).at("tree.holders");
    EXPECT_EQ(found["grade"], "problem");
    EXPECT_THAT(std::string(found["text"]),
                AllOf(HasSubstr("1 process does not answer"),
                      HasSubstr("[" + std::to_string(fan.process.pid()) +
                                "] with 1 node"),
                      Not(HasSubstr(std::to_string(psu.process.pid())))));
}

TEST_F(HealthctlDoctor, NamesADaemonThatHasLostTheBus)
{
    const Process healthmgr({HEALTHMGR});
    Component fan(root + "/fan", 2);
    Component psu(root + "/psu", 2);
    client.waitForHealth(root, 2);
    EXPECT_EQ(findings(1).at("tree.holders")["grade"], "ok");
    fan.expect("close", "ok");
    const json found = findings(1).at("tree.holders");
    EXPECT_EQ(found["grade"], "problem");
    EXPECT_THAT(std::string(found["text"]),
                AllOf(HasSubstr("1 process with nodes is not on the bus"),
                      HasSubstr("[" + std::to_string(fan.process.pid()) +
                                "] with 1 node"),
                      Not(HasSubstr(std::to_string(psu.process.pid())))));
}

TEST_F(HealthctlDoctor, NamesStoppedDaemonsWhereTheRecordsCannotBeRead)
{
    const Process healthmgr({HEALTHMGR});
    Component fan(root + "/fan", 2);
    client.waitForHealth(root, 2);
    // This client's connection would not answer the search for nodes.
    sd_bus_close(client.get());
    const std::filesystem::path cache =
        bus.folder().path() / "run" / "datacache";
    std::filesystem::rename(cache, cache.string() + ".aside");
    std::ofstream(cache) << "no folder";
    EXPECT_EQ(findings(1).at("tree.holders")["grade"], "ok");
    fan.process.signal(SIGSTOP);
    const json found = findings(1).at("tree.holders");
    EXPECT_EQ(found["grade"], "warning");
    EXPECT_THAT(std::string(found["text"]),
                HasSubstr("[" + std::to_string(fan.process.pid()) + "]"));
}

TEST_F(HealthctlDoctor, FindsNothingOfADeadDaemon)
{
    const Component alive(root, 2);
    Component dead(root + "/rack/fan", 2);
    const std::string missing = "no node " + root + "/rack";
    EXPECT_THAT(healthctl({"doctor"}).output,
                AllOf(HasSubstr("2 processes have"), HasSubstr(missing)));
    dead.process.kill();
    EXPECT_THAT(healthctl({"doctor"}).output,
                AllOf(HasSubstr("1 process has"),
                      HasSubstr("every node has its parent"),
                      Not(HasSubstr("/rack"))));
}

TEST_F(HealthctlDoctor, FindsAMirrorThatIsBehindTheLog)
{
    const Process logmgr = client.start();
    client.add(makeRecord(1));
    EXPECT_EQ(findings(1).at("log.mirror")["grade"], "ok");
    const std::filesystem::path mirror =
        bus.folder().path() / "run" / "sel" / "log";
    const std::filesystem::path old = bus.folder().path() / "old";
    std::filesystem::copy_file(mirror, old);
    client.add(makeRecord(2));
    std::filesystem::rename(old, mirror);
    const json found = findings(1).at("log.mirror");
    EXPECT_EQ(found["grade"], "problem");
    EXPECT_THAT(std::string(found["text"]),
                HasSubstr("the log has 2 entries and its mirror in the data "
                          "cache 1; 1 of the log"));
}

TEST_F(HealthctlDoctor, FindsALogThatRefusesEvents)
{
    const Process logmgr = client.start(
        {"--config", bus.folder().write("two.toml", "capacity = 2\n")});
    client.add(makeRecord(1));
    client.add(makeRecord(2));
    const json found = findings(1).at("log.room");
    EXPECT_EQ(found["grade"], "problem");
    EXPECT_EQ(found["text"], "the log has 2 of 2 entries and refuses events");
}

TEST_F(HealthctlDoctor, FindsAHistoryThatCannotBeOpened)
{
    const std::filesystem::path database =
        bus.folder().path() / "state" / "history" / "history.db";
    std::filesystem::create_directories(database);
    const Process logmgr = client.start();
    client.waitUntil("history", [this] {
        return !client.findOwner("com.vexa.olvar.logmgr.History").empty();
    });
    const json found = findings(1).at("history");
    EXPECT_EQ(found["grade"], "problem");
    EXPECT_EQ(found["text"],
              "the history of faults cannot be read: logmgr answered with an "
              "error: the history cannot be opened; see the log of logmgr");
}

TEST_F(HealthctlDoctor, TakesAHistoryThatIsSwitchedOffForNoProblem)
{
    const Process logmgr = client.start(
        {"--config", bus.folder().write("off.toml", "history = false\n")});
    const auto found = findings(1);
    EXPECT_EQ(found.at("history")["grade"], "ok");
    EXPECT_THAT(std::string(found.at("history")["text"]),
                HasSubstr("keeps no history"));
    EXPECT_FALSE(found.contains("state.history"));
}

TEST_F(HealthctlDoctor, FindsThatHealthmgrCannotKeepWhatItIsTold)
{
    const Process healthmgr({HEALTHMGR});
    const std::map<std::string, std::string> folders{
        {"state.silences", "state/healthmgr"},
        {"state.attributes", "state/config"},
        {"runtime.healthmgr", "run/healthmgr"}};
    for (const auto& [check, folder] : folders)
    {
        EXPECT_EQ(findings(1).at(check)["grade"], "ok");
        const std::filesystem::path path = bus.folder().path() / folder;
        std::filesystem::remove_all(path);
        bus.folder().write(folder, "no folder");
        EXPECT_EQ(findings(1).at(check)["grade"], "problem") << check;
    }
}

TEST_F(HealthctlDoctor, FindsAMissingParent)
{
    const Component fan(root + "/rack/fan", 2);
    const auto found = findings(1);
    EXPECT_EQ(found.at("tree.parents")["grade"], "problem");
    EXPECT_THAT(std::string(found.at("tree.parents")["text"]),
                HasSubstr("no node " + root + "/rack,"));
}

TEST_F(HealthctlDoctor, ReportsAMissingBusWithItsAddress)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS",
           "unix:path=/nowhere/bus,guid=0123456789abcdef0123456789abcdef", 1);
    const auto found = findings(1);
    EXPECT_EQ(found.at("bus")["grade"], "problem");
    EXPECT_THAT(std::string(found.at("bus")["text"]),
                HasSubstr("no bus at unix:path=/nowhere/bus: "));
    EXPECT_FALSE(found.contains("service.healthmgr"));
}

TEST_F(HealthctlDoctor, ReportsThatTheBusDoesNotAnswer)
{
    bus.freeze();
    const auto found = findings(1);
    EXPECT_EQ(found.at("bus")["grade"], "problem");
    EXPECT_THAT(std::string(found.at("bus")["text"]),
                HasSubstr("Connection timed out"));
    EXPECT_FALSE(found.contains("service.healthmgr"));
}

TEST_F(HealthctlDoctor, ReportsMissingFilesOfTheInstallation)
{
    const std::string folder = bus.folder().path() / "none";
    setenv("HEALTHINTF_EVENT_PATH", folder.c_str(), 1);
    setenv("HEALTHINTF_REGISTRY_PATH",
           bus.folder().write("registries/bad.json", "{").parent_path().c_str(),
           1);
    const auto found = findings(1);
    EXPECT_EQ(found.at("files.events")["grade"], "problem");
    EXPECT_THAT(std::string(found.at("files.events")["text"]),
                HasSubstr(folder));
    EXPECT_EQ(found.at("files.registries")["grade"], "problem");
}

TEST_F(HealthctlDoctor, CreatesNoDataCache)
{
    findings(1);
    EXPECT_FALSE(std::filesystem::exists(bus.folder().path() / "run"));
    EXPECT_FALSE(std::filesystem::exists(bus.folder().path() / "state"));
}

} // namespace
} // namespace healthintf::test
