// SPDX-License-Identifier: Apache-2.0
/** @file The exporter beside running daemons, scraped by curl and Python. */

#include "component.hpp"
#include "exporter.hpp"
#include "log_client.hpp"
#include "notify_socket.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>

namespace healthintf::test
{
namespace
{

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string root = "/com/vexa/olvar/health";
const std::string key = root + "/fan";

class ExporterTest : public testing::Test
{
  protected:
    /** The value of a sample; -1 if it is missing. */
    double value(const std::string& name) const
    {
        return exporter.scrape()["samples"].value(name, -1.0);
    }

    double faults(const std::string& severity, bool hidden) const
    {
        return value("healthintf_faults{component=" + key + ",severity=" +
                     severity + ",hidden=" + (hidden ? "true}" : "false}"));
    }

    double health(const std::string& node) const
    {
        return value("healthintf_node_health{component=" + node + "}");
    }

    double evictions() const
    {
        return value("healthintf_fault_evictions_total{component=" + key + "}");
    }

    /** The health of a node, read by busctl. */
    std::string busctlHealth(const Component& daemon) const
    {
        return readOutput({"busctl", "--system", "get-property", daemon.name(),
                           key, "com.vexa.olvar.healthmgr.HealthStatus",
                           "HealthStatus"});
    }

    static void hide(const std::string& sensor, bool hidden)
    {
        readOutput({"busctl", "--system", "emit", root,
                    "com.vexa.olvar.healthmgr", "HideFaultForSensor", "bssi",
                    hidden ? "true" : "false", "", sensor, "0"});
    }

    static std::string logProperty(const std::string& name)
    {
        return readOutput({"busctl", "--system", "get-property", logService,
                           logPath, logInterface, name});
    }

    PrivateBus bus;
    LogClient client;
    Exporter exporter;
};

TEST_F(ExporterTest, FollowsAFaultThatIsRaisedHiddenAndRemoved)
{
    Component daemon(key, 2);
    EXPECT_EQ(health(key), 2);
    EXPECT_EQ(faults("critical", false), 0);

    daemon.add(key, "FAN0001", "/sensor", 1);
    EXPECT_EQ(busctlHealth(daemon), "u 4\n");
    EXPECT_EQ(health(key), 4);
    EXPECT_EQ(faults("critical", false), 1);

    hide("/sensor", true);
    client.waitForHealth(key, 2);
    EXPECT_EQ(busctlHealth(daemon), "u 2\n");
    EXPECT_EQ(health(key), 2);
    EXPECT_EQ(faults("critical", false), 0);
    EXPECT_EQ(faults("critical", true), 1);

    daemon.remove(key, "FAN0001", "/sensor");
    EXPECT_EQ(faults("critical", true), 0);
    EXPECT_EQ(evictions(), 0);
}

TEST_F(ExporterTest, CountsEvictionsAndNoRemovals)
{
    Component daemon(key, 2);
    const auto raise = [&](int number) {
        const std::string text = std::to_string(number);
        daemon.add(key, "FAN" + text, "/sensor" + text, 2);
    };
    for (int number = 0; number < 13; ++number)
    {
        raise(number);
    }
    client.catchUp();
    EXPECT_EQ(faults("warning", false), 10);
    EXPECT_EQ(evictions(), 3);
    daemon.expect("clear " + key, "ok");
    raise(20);
    daemon.remove(key, "FAN20", "/sensor20");
    client.catchUp();
    EXPECT_EQ(faults("warning", false), 0);
    EXPECT_EQ(evictions(), 3);
}

TEST_F(ExporterTest, CountsEvictionsOfFaultsOlderThanItself)
{
    Component daemon(key, 2);
    for (int number = 0; number < 10; ++number)
    {
        daemon.add(key, "FAN", "/sensor" + std::to_string(number), 2);
    }
    const Exporter later;
    daemon.add(key, "FAN", "/another", 1);
    EXPECT_EQ(later.scrape()["samples"]["healthintf_fault_evictions_total{"
                                        "component=" +
                                        key + "}"],
              1);
}

TEST_F(ExporterTest, ReportsTheFillOfTheLogAsBusctlDoes)
{
    const Process logmgr = client.start();
    EXPECT_EQ(value("healthintf_sel_up"), 1);
    EXPECT_EQ(value("healthintf_sel_entries"), 0);
    EXPECT_EQ(value("healthintf_sel_capacity"), 4096);
    EXPECT_EQ(value("healthintf_sel_last_addition_timestamp_seconds"), -1);
    client.add(makeRecord(7));
    client.add(makeRecord(8));
    const auto added = static_cast<long>(
        value("healthintf_sel_last_addition_timestamp_seconds"));
    EXPECT_EQ(logProperty("Entries"), "u 2\n");
    EXPECT_EQ(value("healthintf_sel_entries"), 2);
    EXPECT_EQ(logProperty("LastAddition"), "u " + std::to_string(added) + "\n");
    EXPECT_EQ(value("healthintf_sel_overflow"), 0);
    client.clear();
    const auto erased =
        static_cast<long>(value("healthintf_sel_last_erase_timestamp_seconds"));
    EXPECT_EQ(value("healthintf_sel_entries"), 0);
    EXPECT_EQ(logProperty("LastErase"), "u " + std::to_string(erased) + "\n");
}

TEST_F(ExporterTest, ReportsThatTheLogOverflowed)
{
    const auto config =
        bus.folder().write("small.toml", "capacity = 1\noverflow = \"wrap\"\n");
    const Process logmgr = client.start({"--config", config});
    client.add(makeRecord(7));
    EXPECT_EQ(value("healthintf_sel_overflow"), 0);
    client.add(makeRecord(8));
    EXPECT_EQ(logProperty("Overflow"), "b true\n");
    EXPECT_EQ(value("healthintf_sel_overflow"), 1);
    EXPECT_EQ(value("healthintf_sel_policy_info{overflow=wrap}"), 1);
}

TEST_F(ExporterTest, LeavesOutTheLogWhenItsManagerIsKilled)
{
    Process logmgr = client.start();
    ASSERT_EQ(value("healthintf_sel_up"), 1);
    logmgr.kill();
    client.waitUntilGone();
    EXPECT_EQ(value("healthintf_sel_up"), 0);
    EXPECT_EQ(value("healthintf_sel_entries"), -1);
    EXPECT_EQ(value("healthintf_data_cache_up"), 1);
}

TEST_F(ExporterTest, WaitsBrieflyForALogManagerThatHangs)
{
    Process logmgr = client.start();
    logmgr.signal(SIGSTOP);
    const auto all = exporter.scrape()["samples"];
    EXPECT_EQ(all["healthintf_sel_up"], 0);
    EXPECT_EQ(all["healthintf_data_cache_up"], 1);
    EXPECT_LT(all["healthintf_scrape_duration_seconds"], 2);
    // One scrape does not wait for another.
    const auto many = exporter.scrapeAtOnce(50);
    EXPECT_EQ(many["whole"], 50);
    EXPECT_LT(many["seconds"], 10);
    logmgr.signal(SIGCONT);
}

TEST_F(ExporterTest, StartsNoLogManager)
{
    bus.activate(logService, LOGMGR);
    EXPECT_EQ(value("healthintf_sel_up"), 0);
    EXPECT_EQ(client.findOwner(logService), "");
}

TEST_F(ExporterTest, AnswersFiftyAtOnce)
{
    Component daemon(key, 2);
    const Process logmgr = client.start();
    const auto many = exporter.scrapeAtOnce(50);
    EXPECT_EQ(many["whole"], 50);
}

TEST_F(ExporterTest, GivesTheFamiliesTheirTypes)
{
    const auto types = exporter.scrape()["types"];
    EXPECT_EQ(types["healthintf_build"], "info");
    EXPECT_EQ(types["healthintf_faults"], "gauge");
    EXPECT_EQ(types["healthintf_fault_evictions"], "counter");
    EXPECT_EQ(types["healthintf_data_cache_used_bytes"], "gauge");
}

TEST_F(ExporterTest, ReportsALostBusAndTheMetricsWithoutIt)
{
    Component daemon(key, 2);
    ASSERT_EQ(health(key), 2);
    ASSERT_EQ(value("healthintf_bus_up"), 1);
    bus.kill();
    EXPECT_EQ(value("healthintf_bus_up"), 0);
    EXPECT_EQ(evictions(), -1);
    EXPECT_EQ(value("healthintf_sel_up"), 0);
    EXPECT_EQ(value("healthintf_data_cache_up"), 1);
}

TEST_F(ExporterTest, ReportsThatTheBusDoesNotAnswer)
{
    EXPECT_EQ(value("healthintf_bus_up"), 1);
    bus.freeze();
    EXPECT_EQ(value("healthintf_bus_up"), 0);
    EXPECT_EQ(evictions(), -1);
}

TEST_F(ExporterTest, ReportsWhetherTheHealthManagerAnswers)
{
    const std::string up = "healthintf_healthmgr_up";
    EXPECT_EQ(value(up), 0);
    {
        Process healthmgr({HEALTHMGR});
        const Component daemon(key, 2);
        client.waitForHealth(root, 2);
        EXPECT_EQ(value(up), 1);
        healthmgr.signal(SIGSTOP);
        EXPECT_EQ(value(up), 0);
    }
    EXPECT_EQ(value(up), 0);
}

TEST_F(ExporterTest, CountsSilencesAndAcknowledgements)
{
    const std::string silences = "healthintf_silences";
    const std::string acknowledged = "healthintf_acknowledged_faults";
    EXPECT_EQ(value(silences), -1);
    EXPECT_EQ(value(acknowledged), -1);
    Process healthmgr({HEALTHMGR});
    Component daemon(key, 2);
    daemon.add(key, "FAN0001", "/sensor", 1);
    client.waitForHealth(root, 4);
    EXPECT_EQ(value(silences), 0);
    EXPECT_EQ(value(acknowledged), 0);

    readOutput({HEALTHCTL, "ack", "fan", "--comment", "Olga looks"});
    readOutput({HEALTHCTL, "silence", "add", "--sensor-number", "7", "--for",
                "2h", "--comment", "a new fan comes"});
    EXPECT_EQ(value(acknowledged), 1);
    EXPECT_EQ(value(silences), 1);
    readOutput({HEALTHCTL, "silence", "end", "1"});
    daemon.remove(key, "FAN0001", "/sensor");
    EXPECT_EQ(value(silences), 0);
    EXPECT_EQ(value(acknowledged), 0);

    healthmgr.signal(SIGSTOP);
    const auto all = exporter.scrape()["samples"];
    EXPECT_EQ(all["healthintf_healthmgr_up"], 0);
    EXPECT_FALSE(all.contains(silences));
    EXPECT_FALSE(all.contains(acknowledged));
    EXPECT_LT(all["healthintf_scrape_duration_seconds"], 2);
}

/** The root's node, in a living process, keeps the health of its dead child
 *  until healthmgr withdraws that. */
TEST_F(ExporterTest, ShowsThatNobodyWithdrawsTheHealthOfADeadDaemon)
{
    Component above(root, 2);
    {
        Component below(key, 2);
        below.add(key, "FAN0001", "/sensor", 1);
        client.waitForHealth(root, 4);
    }
    EXPECT_EQ(health(root), 4);
    EXPECT_EQ(health(key), -1);
    EXPECT_EQ(value("healthintf_healthmgr_up"), 0);

    const Process healthmgr({HEALTHMGR, "--config", IGNORE_LOST_MONITORS});
    client.waitForHealth(root, 2);
    EXPECT_EQ(health(root), 2);
    EXPECT_EQ(value("healthintf_healthmgr_up"), 1);
}

TEST_F(ExporterTest, CountsTheComponentsThatHaveLostTheirMonitors)
{
    const Process healthmgr({HEALTHMGR});
    {
        const Component daemon(key, 2);
        client.waitForHealth(root, 2);
        EXPECT_EQ(value("healthintf_lost_monitors"), 0);
    }
    client.waitForHealth(root, 3);
    EXPECT_EQ(value("healthintf_lost_monitors"), 1);
}

TEST_F(ExporterTest, IsScrapedByCurl)
{
    const std::string text =
        readOutput({"curl", "--silent", "--fail", "--include",
                    "http://127.0.0.1:" + exporter.where + "/metrics"});
    EXPECT_THAT(text, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(text, EndsWith("\n# EOF\n"));
}

TEST_F(ExporterTest, IsScrapedOverAUnixSocket)
{
    const std::string path = bus.folder().path() / "metrics.sock";
    Exporter local({"--unix", path});
    EXPECT_EQ(local.where, path);
    EXPECT_EQ(local.scrape()["samples"]["healthintf_data_cache_up"], 1);
    EXPECT_THAT(readOutput({"curl", "--silent", "--fail", "--unix-socket", path,
                            "http://localhost/metrics"}),
                EndsWith("\n# EOF\n"));
    local.process.signal(SIGTERM);
    EXPECT_EQ(local.process.wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ExporterTest, OutlivesTheReaderOfItsOutput)
{
    const std::string folder = bus.folder().path();
    const NotifySocket manager;
    // The pipe has had a reader, which has ended.
    Process unread({"/bin/sh", "-c",
                    "mkfifo \"$1\" && exec 4<>\"$1\" >\"$1\" 4<&- && "
                    "exec \"$2\" --unix \"$3\"",
                    "sh", folder + "/pipe", HEALTH_EXPORTER,
                    folder + "/metrics.sock"},
                   {manager.setting()});
    EXPECT_EQ(manager.hear(), "READY=1");
    unread.signal(SIGTERM);
    EXPECT_EQ(unread.wait(), 0);
}

TEST_F(ExporterTest, IsScrapedBesideAThousandIdleConnections)
{
    Process crowd({"/usr/bin/python3", "-c",
                   "import resource, socket, sys\n"
                   "resource.setrlimit(resource.RLIMIT_NOFILE, (2048, 2048))\n"
                   "idle = [socket.create_connection(('127.0.0.1', " +
                       exporter.where +
                       ")) for _ in range(1000)]\n"
                       "print('connected', flush=True)\n"
                       "sys.stdin.read()\n"});
    ASSERT_EQ(crowd.hear(), "connected");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(readOutput({"curl", "--silent", "--fail",
                            "http://127.0.0.1:" + exporter.where + "/metrics"}),
                EndsWith("\n# EOF\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(1));
}

TEST_F(ExporterTest, WarnsWhenOtherMachinesCanReachIt)
{
    const Exporter open({"--listen", "0.0.0.0:0"});
    EXPECT_THAT(open.process.errors(), HasSubstr("whoever reaches 0.0.0.0:0"));
    EXPECT_EQ(exporter.process.errors(), "");
}

TEST_F(ExporterTest, ListensOnLoopbackOnly)
{
    const std::string sockets =
        readOutput({"ss", "--tcp", "--listening", "--numeric", "--no-header",
                    "sport", "=", ":" + exporter.where});
    EXPECT_THAT(sockets, HasSubstr("127.0.0.1:" + exporter.where));
    EXPECT_EQ(std::count(sockets.begin(), sockets.end(), '\n'), 1);
}

TEST_F(ExporterTest, ReportsReadinessAndLifeToTheServiceManager)
{
    const NotifySocket manager;
    Process supervised({HEALTH_EXPORTER, "--listen", "127.0.0.1:0"},
                       {manager.setting(), "WATCHDOG_USEC=100000"});
    const std::set<std::string> heard{manager.hear(), manager.hear()};
    EXPECT_EQ(heard, (std::set<std::string>{"READY=1", "WATCHDOG=1"}));
    EXPECT_THAT(supervised.hear(), StartsWith("listening on port "));
    supervised.signal(SIGTERM);
    EXPECT_EQ(supervised.wait(), 0);
}

TEST_F(ExporterTest, ReportsAnInvalidAddress)
{
    Process wrong({HEALTH_EXPORTER, "--listen", "localhost:1"});
    EXPECT_EQ(wrong.wait(), 1);
    EXPECT_THAT(wrong.errors(), HasSubstr("localhost: is no address in "
                                          "numbers"));
}

TEST_F(ExporterTest, RefusesAnEmptyArgument)
{
    for (const std::string option : {"--unix", "--listen"})
    {
        Process wrong({HEALTH_EXPORTER, option, ""});
        EXPECT_NE(wrong.wait(), 0);
        EXPECT_THAT(wrong.errors(), HasSubstr("the argument after \"" + option +
                                              "\" is empty"));
    }
}

} // namespace
} // namespace healthintf::test
