// SPDX-License-Identifier: Apache-2.0
/** @file healthctl watch on a tree that changes. */

#include "address_sanitizer.hpp"
#include "healthctl.hpp"

#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <regex>
#include <string>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::HasSubstr;

bool concerns(const json& line, const std::string& key)
{
    return line.value("component", "") == key;
}

/** A running watch; each line that it prints must fit its schema. */
class Lines
{
  public:
    explicit Lines(const std::vector<std::string>& command = {HEALTHCTL,
                                                              "watch",
                                                              "--json"}) :
        watcher(command)
    {}

    json next()
    {
        const std::string line = watcher.hear();
        Process checker({CHECK_SCHEMA, SCHEMAS});
        checker.tell(line);
        checker.endInput();
        EXPECT_EQ(checker.wait(), 0) << line << checker.errors();
        return json::parse(line);
    }

    /** Reads lines up to a change of a component or fault, and returns that. */
    json next(const std::string& change, const std::string& component)
    {
        for (;;)
        {
            json line = next();
            if (line["change"] == change && concerns(line, component))
            {
                return line;
            }
        }
    }

    /** The changes up to and including the next one of a kind. */
    std::vector<json> until(const std::string& change,
                            const std::string& component)
    {
        std::vector<json> lines;
        do
        {
            lines.push_back(next());
        } while (lines.back()["change"] != change ||
                 !concerns(lines.back(), component));
        return lines;
    }

    Process watcher;
};

/** A watch that cannot read the data cache. */
const std::vector<std::string> watchingTheBus{
    "env", "HEALTHINTF_RUNTIME_DIR=/nonexistent", HEALTHCTL, "watch", "--json"};

class HealthctlWatch : public HealthctlTest
{};

TEST_F(HealthctlWatch, WritesALineForEachChange)
{
    Lines lines;
    const json begin = lines.next();
    EXPECT_EQ(begin["change"], "begin");
    EXPECT_EQ(begin["nodes"], 4);
    EXPECT_EQ(begin["faults"], 0);

    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    const json added = lines.next("fault-added", fan);
    EXPECT_EQ(added["fault"]["messageId"], "Test.1.0.Slow");
    EXPECT_EQ(added["fault"]["severity"], "warning");
    EXPECT_EQ(added["fault"]["sensorPath"], "/sensors/fan");
    const json worse = lines.next("health", fan);
    EXPECT_EQ(worse["before"], "OK");
    EXPECT_EQ(worse["now"], "warning");
    EXPECT_EQ(lines.next("health", root)["now"], "warning");

    daemon.expect("hide 1 - /sensors/fan 0", "0");
    EXPECT_EQ(lines.next("fault-hidden", fan)["fault"]["hidden"], true);
    daemon.expect("hide 0 - /sensors/fan 0", "0");
    EXPECT_EQ(lines.next("fault-shown", fan)["path"], added["path"]);

    daemon.remove(fan, "Test.1.0.Slow", "/sensors/fan");
    EXPECT_EQ(lines.next("fault-removed", fan)["path"], added["path"]);
    EXPECT_EQ(lines.next("health", root)["now"], "OK");
}

TEST_F(HealthctlWatch, HasTheTimeInEveryLine)
{
    Lines lines;
    const std::string time = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)";
    EXPECT_TRUE(
        std::regex_match(lines.next().value("time", ""), std::regex(time)));
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    EXPECT_TRUE(std::regex_match(
        lines.next("fault-added", fan).value("time", ""), std::regex(time)));
}

TEST_F(HealthctlWatch, WritesPlainLinesIntoAPipe)
{
    Process watcher({HEALTHCTL, "watch"});
    const auto hear = [&] {
        const std::string line = watcher.hear();
        const std::regex time(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d  )");
        EXPECT_TRUE(std::regex_search(line, time)) << line;
        return std::regex_replace(line, time, "");
    };
    EXPECT_EQ(hear(), "begin     4 components, 0 faults");
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    EXPECT_EQ(hear(), "warning   rack/fan  fault: A fault of /sensors/fan");
    EXPECT_EQ(hear(), "warning   rack/fan  was OK");
    EXPECT_EQ(hear(), "warning   rack  was OK");
    EXPECT_EQ(hear(), "warning   " + root + "  was OK");
    daemon.remove(fan, "Test.1.0.Slow", "/sensors/fan");
    EXPECT_EQ(hear(), "warning   rack/fan  fault gone: A fault of "
                      "/sensors/fan");
}

TEST_F(HealthctlWatch, WritesALineForWhatOperatorsNote)
{
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    client.waitForHealth(root, 3);
    Lines lines;
    lines.next();
    const auto nextOf = [&](const std::string& change) {
        json line = lines.next();
        while (line["change"] != change)
        {
            line = lines.next();
        }
        return line;
    };
    EXPECT_EQ(healthctl({"ack", "rack/fan", "--comment", "Olga looks"}).status,
              0);
    const json given = nextOf("acknowledged");
    EXPECT_EQ(given["component"], fan);
    EXPECT_EQ(given["fault"]["messageId"], "Test.1.0.Slow");
    EXPECT_EQ(given["acknowledgement"]["comment"], "Olga looks");
    EXPECT_EQ(given["acknowledgement"]["uid"], geteuid());
    EXPECT_EQ(healthctl({"ack", "rack/fan", "--withdraw"}).status, 0);
    const json withdrawn = nextOf("withdrawn");
    EXPECT_EQ(withdrawn["path"], given["path"]);
    EXPECT_EQ(withdrawn["uid"], geteuid());

    EXPECT_EQ(healthctl({"silence", "add", "--sensor-number", "7", "--for",
                         "2h", "--comment", "a new fan comes"})
                  .status,
              0);
    const json begun = nextOf("silenced");
    EXPECT_EQ(begun["components"], json::array({fan}));
    EXPECT_EQ(begun["silence"]["comment"], "a new fan comes");
    EXPECT_EQ(healthctl({"silence", "end", "1"}).status, 0);
    const json ended = nextOf("silence-ended");
    EXPECT_EQ(ended["silence"]["id"], 1);
    EXPECT_EQ(ended["uid"], geteuid());
}

TEST_F(HealthctlWatch, DrawsWhatOperatorsNote)
{
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    client.waitForHealth(root, 3);
    EXPECT_EQ(healthctl({"ack", "rack/fan", "--comment", "Olga looks"}).status,
              0);
    Process watcher({WATCH_ON_TERMINAL, HEALTHCTL, "watch", "--faults"});
    const auto hearUntil = [&](const std::string& text) {
        std::string line;
        do
        {
            line = watcher.hear();
        } while (line.find(text) == std::string::npos);
        return line;
    };
    // From before, and then from a signal.
    EXPECT_THAT(hearUntil("Olga"), HasSubstr("acknowledged"));
    EXPECT_EQ(healthctl({"ack", "rack/fan", "--comment", "Paul looks"}).status,
              0);
    hearUntil("Paul looks");
    EXPECT_EQ(healthctl({"silence", "add", "--component", "rack/fan", "--for",
                         "2h", "--comment", "a new fan comes"})
                  .status,
              0);
    hearUntil("(silence 1)");
    EXPECT_THAT(hearUntil("silence 1 hides rack/fan"), HasSubstr("since"));
    watcher.tell("keys q");
    hearUntil("ended 0");
}

TEST_F(HealthctlWatch, DrawsWithoutWaitingForWhatOperatorsNote)
{
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    client.waitForHealth(root, 3);
    EXPECT_EQ(healthctl({"ack", "rack/fan", "--comment", "Olga looks"}).status,
              0);
    healthmgr.signal(SIGSTOP);
    waitpid(healthmgr.pid(), nullptr, WUNTRACED);
    Process watcher({WATCH_ON_TERMINAL, HEALTHCTL, "watch", "--faults"});
    const auto hearUntil = [&](const std::string& text) {
        std::string line;
        do
        {
            line = watcher.hear();
        } while (line.find(text) == std::string::npos);
        return line;
    };
    const auto begin = std::chrono::steady_clock::now();
    hearUntil("A fault of /sensors/fan");
    daemon.add(psu, "Test.1.0.Low", "/sensors/volt", 1, 9);
    hearUntil("A fault of /sensors/volt");
    // A call waits for 25 seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(10));
    // The answer comes when it can.
    healthmgr.signal(SIGCONT);
    hearUntil("Olga looks");
    watcher.tell("keys q");
    hearUntil("ended 0");
}

TEST_F(HealthctlWatch, WatchesOneComponent)
{
    Lines lines({HEALTHCTL, "watch", "--json", "rack/fan"});
    EXPECT_EQ(lines.next()["nodes"], 1);
    daemon.add(psu, "Test.1.0.Low", "/sensors/volt", 1, 9);
    client.waitForHealth(root, 4);
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    EXPECT_EQ(lines.next()["component"], fan);
    EXPECT_EQ(lines.next()["component"], fan);
}

TEST_F(HealthctlWatch, WatchesSeverities)
{
    Lines lines({HEALTHCTL, "watch", "--json", "-s", "critical"});
    EXPECT_EQ(lines.next()["nodes"], 0);
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    client.waitForHealth(root, 3);
    daemon.add(psu, "Test.1.0.Low", "/sensors/volt", 1, 9);
    const json added = lines.next();
    EXPECT_EQ(added["change"], "fault-added");
    EXPECT_EQ(added["fault"]["severity"], "critical");
    EXPECT_EQ(lines.next()["now"], "critical");
}

TEST_F(HealthctlWatch, WaitsForAComponentThatIsNotThereYet)
{
    Lines lines({HEALTHCTL, "watch", "--json", "disk"});
    EXPECT_EQ(lines.next()["nodes"], 0);
    const Component disk(root + "/disk", 3);
    EXPECT_EQ(lines.next()["component"], root + "/disk");
}

TEST_F(HealthctlWatch, RefusesAKeyThatIsNone)
{
    EXPECT_EQ(healthctl({"watch", "rack//fan"}).status, 2);
}

TEST_F(HealthctlWatch, BeginsWithTheInitialStateDespiteChangesMeanwhile)
{
    // Without a data cache, watch asks every process on the bus, and waits for
    // this stopped one.
    Component silent(root + "/silent", 2);
    silent.process.signal(SIGSTOP);
    Lines lines(watchingTheBus);
    constexpr int manyChanges = 300;
    for (int i = 0; i < manyChanges; ++i)
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
        daemon.remove(fan, "Test.1.0.Slow", "/sensors/fan");
    }
    EXPECT_EQ(lines.next()["change"], "begin");
    silent.process.signal(SIGCONT);
    daemon.add(fan, "Test.1.0.Bad", "/sensors/fan", 1, 7);
    json added = lines.next("fault-added", fan);
    while (added["fault"]["messageId"] != "Test.1.0.Bad")
    {
        added = lines.next("fault-added", fan);
    }
}

TEST_F(HealthctlWatch, ReportsNodesThatComeAndGo)
{
    Lines lines;
    lines.next();
    Component disk(root + "/disk", 3);
    EXPECT_EQ(lines.next("node-added", root + "/disk")["now"], "warning");
    disk.end();
    EXPECT_TRUE(lines.next("node-removed", root + "/disk")["now"].is_null());
}

TEST_F(HealthctlWatch, ReportsTheLossesOfADeadDaemonWithoutASignal)
{
    Component disk(root + "/disk", 2);
    disk.add(root + "/disk", "Test.1.0.Bad", "/sensors/disk", 1);
    client.waitForHealth(root, 4);
    Lines lines({HEALTHCTL, "watch", "--json"});
    EXPECT_EQ(lines.next()["faults"], 1);
    // Otherwise it takes the node.
    healthmgr.signal(SIGSTOP);
    waitpid(healthmgr.pid(), nullptr, WUNTRACED);
    disk.process.kill();
    EXPECT_EQ(lines.next("fault-removed", root + "/disk")["fault"]["messageId"],
              "Test.1.0.Bad");
    lines.next("node-removed", root + "/disk");
}

TEST_F(HealthctlWatch, KeepsAStoppedDaemonsObjectsWithoutADataCache)
{
    const std::string disk = root + "/disk";
    const json disks = json::array({disk});
    Component stopped(disk, 2);
    stopped.add(disk, "Test.1.0.Bad", "/sensors/disk", 1);
    client.waitForHealth(root, 4);
    Lines lines(watchingTheBus);
    EXPECT_EQ(lines.next()["faults"], 1);
    const auto hearOfProcess = [&](const std::string& change) {
        for (;;)
        {
            json line = lines.next();
            EXPECT_FALSE(concerns(line, disk)) << line;
            if (line["change"] == change && line["components"] == disks)
            {
                return line;
            }
        }
    };
    // When a node disappears, watch asks every process again.
    const auto haveAllAsked = [&] {
        Component other(root + "/other", 2);
        other.end();
    };
    stopped.process.signal(SIGSTOP);
    haveAllAsked();
    EXPECT_THAT(hearOfProcess("process-silent")["process"],
                HasSubstr(std::to_string(stopped.process.pid())));

    // The process continues, and its answer makes watch report it again.
    stopped.process.signal(SIGCONT);
    hearOfProcess("process-silent-ended");

    stopped.process.signal(SIGSTOP);
    haveAllAsked();
    hearOfProcess("process-silent");
    stopped.process.kill();
    // healthmgr takes the node, with a fault of its own.
    EXPECT_EQ(lines.next("fault-removed", disk)["fault"]["messageId"],
              "Test.1.0.Bad");
}

TEST_F(HealthctlWatch, MarksAStoppedDaemonsObjectsOnTheTerminal)
{
    Component stopped(root + "/disk", 2);
    stopped.add(root + "/disk", "Test.1.0.Bad", "/sensors/disk", 1);
    client.waitForHealth(root, 4);
    Process watcher({WATCH_ON_TERMINAL, "env",
                     "HEALTHINTF_RUNTIME_DIR=/nonexistent", HEALTHCTL, "watch",
                     "--faults"});
    const auto hearUntil = [&](const std::string& text) {
        std::string line;
        do
        {
            line = watcher.hear();
        } while (line.find(text) == std::string::npos);
        return line;
    };
    hearUntil("A fault of /sensors/disk");
    stopped.process.signal(SIGSTOP);
    Component other(root + "/other", 2);
    other.end();
    EXPECT_THAT(hearUntil("does not answer"), HasSubstr("critical"));
    hearUntil("A fault of /sensors/disk");
    watcher.tell("keys q");
    hearUntil("ended 0");
}

TEST_F(HealthctlWatch, DrawsSignalsWhileItWaitsForReplies)
{
    Component silent(root + "/silent", 2);
    client.waitForHealth(root + "/silent", 2);
    // This client's connection does not answer while the test waits.
    sd_bus_close(client.get());
    Process watcher({WATCH_ON_TERMINAL, "env",
                     "HEALTHINTF_RUNTIME_DIR=/nonexistent", HEALTHCTL, "watch",
                     "--faults"});
    const auto hearUntil = [&](const std::string& text) {
        std::string line;
        do
        {
            line = watcher.hear();
        } while (line.find(text) == std::string::npos);
        return line;
    };
    hearUntil("silent");
    silent.process.signal(SIGSTOP);
    // The end of this daemon makes watch ask every process and wait for the
    // stopped one.
    Component other(root + "/other", 2);
    other.end();
    for (const std::string sensor : {"/sensors/a", "/sensors/b", "/sensors/c"})
    {
        daemon.add(fan, "Test.1.0.Bad", sensor, 1, 7);
        hearUntil("A fault of " + sensor);
        EXPECT_THAT(hearUntil("silent"), testing::Not(HasSubstr("answer")));
    }
    hearUntil("does not answer");
}

TEST_F(HealthctlWatch, KeepsSignalsThatArriveWhileItReadsTheBus)
{
    Component silent(root + "/silent", 2);
    client.waitForHealth(root + "/silent", 2);
    Lines lines(watchingTheBus);
    lines.next();
    silent.process.signal(SIGSTOP);
    // The end of this daemon makes watch ask every process and wait for the
    // stopped one.
    Component other(root + "/other", 2);
    other.end();
    client.catchUp();
    daemon.add(fan, "Test.1.0.Bad", "/sensors/fan", 1, 7);
    for (;;)
    {
        const json line = lines.next();
        if (line["change"] == "process-silent")
        {
            break;
        }
        EXPECT_NE(line["change"], "fault-removed");
    }
    daemon.remove(fan, "Test.1.0.Bad", "/sensors/fan");
    EXPECT_EQ(lines.next("fault-removed", fan)["fault"]["messageId"],
              "Test.1.0.Bad");
}

TEST_F(HealthctlWatch, LimitsTheSignalsThatItKeepsMeanwhile)
{
    if (isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer keeps memory that was freed";
    }
    Component silent(root + "/silent", 2);
    client.waitForHealth(root + "/silent", 2);
    // grep drops the long lines about these faults.
    Lines lines(
        {"env", "HEALTHINTF_RUNTIME_DIR=/nonexistent", "bash", "-c",
         R"(exec "$0" watch --json > >(grep --line-buffered -v Made.Up))",
         HEALTHCTL});
    lines.next();
    silent.process.signal(SIGSTOP);
    Component other(root + "/other", 2);
    other.end();
    client.catchUp();
    const std::string text(1UL << 20, 'x');
    for (int i = 0; i < 200; ++i)
    {
        const std::string fault = fan + "/entry/Fault_" + std::to_string(i);
        sd_bus_emit_signal(
            client.get(), fault.c_str(), "com.vexa.olvar.healthmgr.FaultEntry",
            "FaultEntryAdded", "sssastusuu", "Test.1", "Made.Up", text.c_str(),
            0, uint64_t{1}, 4U, "/sensors/none", 1U, 1U);
        client.catchUp();
    }
    daemon.add(fan, "Test.1.0.Bad", "/sensors/fan", 1, 7);
    EXPECT_EQ(lines.next("fault-added", fan)["fault"]["messageId"],
              "Test.1.0.Bad");
    EXPECT_LT(lines.watcher.peakMemory(), 120U) << "MiB of 200 that were sent";
}

TEST_F(HealthctlWatch, ShowsNoComponentThatIsOnlyNamedInSignals)
{
    const std::string madeUp = root + "/made_up";
    const std::string fault = madeUp + "/entry/Fault_1";
    for (const auto& command :
         {std::vector<std::string>{HEALTHCTL, "watch", "--json"},
          watchingTheBus})
    {
        Lines lines(command);
        lines.next();
        sd_bus_emit_signal(client.get(), madeUp.c_str(),
                           "com.vexa.olvar.healthmgr.HealthStatus",
                           "HealthStatusUpdate", "ssu", root.c_str(),
                           madeUp.c_str(), 4U);
        sd_bus_emit_signal(client.get(), madeUp.c_str(),
                           "org.freedesktop.DBus.Properties",
                           "PropertiesChanged", "sa{sv}as",
                           "com.vexa.olvar.healthmgr.HealthStatus", 1,
                           "HealthStatus", "u", 4U, 0);
        sd_bus_emit_signal(
            client.get(), fault.c_str(), "com.vexa.olvar.healthmgr.FaultEntry",
            "FaultEntryAdded", "sssastusuu", "Test.1", "Made.Up", "made up", 0,
            uint64_t{1}, 4U, "/sensors/none", 1U, 1U);
        client.catchUp();
        Component disk(root + "/disk", 3);
        for (const json& line : lines.until("node-added", root + "/disk"))
        {
            EXPECT_FALSE(concerns(line, madeUp) && line.contains("now"))
                << line;
        }
        disk.end();
    }
}

TEST_F(HealthctlWatch, WithdrawsAMadeUpFault)
{
    const std::string fault = fan + "/entry/Fault_1";
    Lines lines;
    lines.next();
    sd_bus_emit_signal(client.get(), fault.c_str(),
                       "com.vexa.olvar.healthmgr.FaultEntry", "FaultEntryAdded",
                       "sssastusuu", "Test.1", "Made.Up", "made up", 0,
                       uint64_t{1}, 4U, "/sensors/none", 1U, 1U);
    client.catchUp();
    lines.next("fault-added", fan);
    EXPECT_EQ(lines.next("fault-removed", fan)["path"], fault);
}

TEST_F(HealthctlWatch, WithdrawsAMadeUpHealthThatIsNone)
{
    Lines lines;
    lines.next();
    constexpr uint32_t invalid = 7;
    sd_bus_emit_signal(client.get(), fan.c_str(),
                       "org.freedesktop.DBus.Properties", "PropertiesChanged",
                       "sa{sv}as", "com.vexa.olvar.healthmgr.HealthStatus", 1,
                       "HealthStatus", "u", invalid, 0);
    client.catchUp();
    EXPECT_EQ(lines.next("health", fan)["now"], "invalid");
    EXPECT_EQ(lines.next("health", fan)["now"], "OK");
}

TEST_F(HealthctlWatch, IgnoresPathsTooLongForARecord)
{
    std::string deep = fan;
    while (deep.size() <= 510)
    {
        deep += "/deep";
    }
    Lines lines;
    lines.next();
    sd_bus_emit_signal(client.get(), deep.c_str(),
                       "com.vexa.olvar.healthmgr.FaultEntry", "FaultEntryAdded",
                       "sssastusuu", "Test.1", "Made.Up", "made up", 0,
                       uint64_t{1}, 4U, "/sensors/none", 1U, 1U);
    client.catchUp();
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    EXPECT_EQ(lines.next()["fault"]["messageId"], "Test.1.0.Slow");
}

TEST_F(HealthctlWatch, EndsWithZeroOnASignal)
{
    for (const int number : {SIGINT, SIGTERM})
    {
        Lines lines;
        lines.next();
        lines.watcher.signal(number);
        EXPECT_EQ(lines.watcher.wait(), 0);
    }
}

TEST_F(HealthctlWatch, EndsOnASignalWhileNobodyReadsItsLines)
{
    const std::string path = bus.folder().path() / "lines";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int pipe = open(path.c_str(), O_RDWR | O_CLOEXEC);
    const int size = fcntl(pipe, F_SETPIPE_SZ, 1);
    Process watcher({"sh", "-c", "exec " HEALTHCTL " watch >\"$0\"", path});
    // When it has begun, these are many more lines than the pipe holds.
    constexpr int rounds = 200;
    int held = 0;
    for (int round = 0; round<rounds; round += held> 0 ? 1 : 0)
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
        daemon.remove(fan, "Test.1.0.Slow", "/sensors/fan");
        ioctl(pipe, FIONREAD, &held);
    }
    EXPECT_LE(held, size);
    watcher.signal(SIGTERM);
    EXPECT_EQ(watcher.wait(), 0);
    close(pipe);
}

TEST_F(HealthctlWatch, EndsWhenTheBusIsGone)
{
    Lines lines;
    lines.next();
    bus.kill();
    EXPECT_EQ(lines.watcher.wait(), 3);
    EXPECT_THAT(lines.watcher.errors(), HasSubstr("the bus is gone; "));
}

TEST_F(HealthctlWatch, ContinuesAtAnIgnoredSignal)
{
    Lines lines({"nohup", HEALTHCTL, "watch", "--json"});
    lines.next();
    lines.watcher.signal(SIGHUP);
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    lines.next("fault-added", fan);
    lines.watcher.signal(SIGTERM);
    EXPECT_EQ(lines.watcher.wait(), 0);
}

TEST_F(HealthctlWatch, EndsWhenItsOutputPipeCloses)
{
    Process both(
        {"bash", "-c", "set -o pipefail; " HEALTHCTL " watch | head -n 1"});
    EXPECT_THAT(both.hear(), HasSubstr("begin"));
    EXPECT_EQ(both.wait(), 0);
}

TEST_F(HealthctlWatch, EndsWhenItsReaderWasGoneBefore)
{
    for (const std::string options : {"--lines", "--json"})
    {
        Process watcher({"bash", "-c",
                         "exec 3> >(true); wait $!; exec " HEALTHCTL " watch " +
                             options + " >&3"});
        EXPECT_EQ(watcher.wait(), 0) << watcher.errors();
    }
}

TEST_F(HealthctlWatch, FailsAtOnceWhenItCannotWrite)
{
    Process watcher({"sh", "-c", HEALTHCTL " watch >/dev/full"});
    EXPECT_EQ(watcher.wait(), 5);
    EXPECT_THAT(watcher.errors(), HasSubstr("unable to write the output; "));
}

TEST_F(HealthctlWatch, WritesLinesOnADumbTerminal)
{
    Process watcher(
        {WATCH_ON_TERMINAL, "env", "TERM=dumb", HEALTHCTL, "watch"});
    EXPECT_THAT(watcher.hear(),
                HasSubstr("  begin     4 components, 0 faults"));
}

TEST_F(HealthctlWatch, RestoresTheTerminalWhileItIsStopped)
{
    Process watcher({WATCH_ON_TERMINAL, "bash", "-c",
                     "set -m\n" HEALTHCTL " watch\n"
                     "stty -a | grep -ow -e icanon -e -icanon\n"
                     "fg >/dev/null"});
    const auto hearUntil = [&](const std::string& text) {
        std::string line;
        do
        {
            line = watcher.hear();
        } while (line.find(text) == std::string::npos);
        return line;
    };
    hearUntil("fan");
    watcher.tell("keys \x1a");
    EXPECT_EQ(hearUntil("icanon"), "icanon");
    hearUntil("fan");
    watcher.tell("keys q");
    EXPECT_EQ(hearUntil("ended"),
              "ended 0, screens restored, keyboard restored");
}

TEST_F(HealthctlWatch, RedrawsTheTreeOnATerminal)
{
    Process watcher({WATCH_ON_TERMINAL, HEALTHCTL, "watch", "--faults"});
    const auto hearUntil = [&](const std::string& text) {
        std::string line;
        do
        {
            line = watcher.hear();
        } while (line.find(text) == std::string::npos);
        return line;
    };
    EXPECT_THAT(hearUntil("fan"), HasSubstr("OK"));
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    hearUntil("/com/vexa/olvar/health  warning");

    // Three lines leave no room for the tree.
    watcher.tell("size 60 3");
    hearUntil("more lines");
    watcher.tell("keys q");
    EXPECT_THAT(hearUntil("ended 0"), HasSubstr("screens restored"));
    EXPECT_EQ(watcher.wait(), 0);
}

TEST_F(HealthctlWatch, ScrollsByKeys)
{
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    daemon.add(psu, "Test.1.0.Low", "/sensors/volt", 2, 9);
    client.waitForHealth(root, 3);
    Process watcher({WATCH_ON_TERMINAL, HEALTHCTL, "watch", "--faults"});
    const auto hearUntil = [&](const std::string& text) {
        std::string line;
        do
        {
            line = watcher.hear();
        } while (line.find(text) == std::string::npos);
        return line;
    };
    hearUntil("psu");
    // Of the six lines of the tree there is room for three.
    watcher.tell("size 80 5");
    hearUntil("3 more lines");
    watcher.tell("keys \x1b[B");
    hearUntil("2 more lines, 1 above");
    watcher.tell("keys G");
    hearUntil("A fault of /sensors/volt");
    hearUntil("end, 3 above");
    watcher.tell("keys \x1b[5~");
    hearUntil("/com/vexa/olvar/health  warning");
    hearUntil("3 more lines");
    watcher.tell("keys q");
    hearUntil("ended 0");
}

TEST_F(HealthctlWatch, DrawsOnlyWhatIsWatched)
{
    daemon.add(psu, "Test.1.0.Low", "/sensors/volt", 1, 9);
    client.waitForHealth(root, 4);
    Process watcher(
        {WATCH_ON_TERMINAL, HEALTHCTL, "watch", "rack/psu", "--faults"});
    EXPECT_THAT(watcher.hear(), HasSubstr("q ends"));
    EXPECT_THAT(watcher.hear(), HasSubstr(psu + "  critical"));
    watcher.tell("keys q");
    Process none({WATCH_ON_TERMINAL, HEALTHCTL, "watch", "-s", "unknown"});
    EXPECT_THAT(none.hear(), HasSubstr("q ends"));
    EXPECT_THAT(none.hear(), HasSubstr("No such components."));
    none.tell("keys q");
}

TEST_F(HealthctlWatch, WritesLinesOnATerminalOnDemand)
{
    Process watcher({WATCH_ON_TERMINAL, HEALTHCTL, "watch", "--lines"});
    EXPECT_THAT(watcher.hear(), HasSubstr("  begin     4 components"));
}

TEST_F(HealthctlWatch, RestoresTheTerminalOnASignal)
{
    for (const char* name : {"HUP", "INT", "QUIT", "TERM"})
    {
        Process watcher({WATCH_ON_TERMINAL, HEALTHCTL, "watch"});
        while (watcher.hear().find("fan") == std::string::npos)
        {}
        watcher.tell(std::string("signal ") + name);
        std::string line;
        do
        {
            line = watcher.hear();
        } while (!line.starts_with("ended"));
        EXPECT_EQ(line, "ended 0, screens restored, keyboard restored");
    }
}

TEST_F(HealthctlWatch, EndsOnASignalWhileTheTerminalIsStopped)
{
    Process watcher({WATCH_ON_TERMINAL, HEALTHCTL, "watch", "--faults"});
    while (watcher.hear().find("fan") == std::string::npos)
    {}
    // Ctrl-S
    watcher.tell("keys \x13");
    // It may have ended its drawing before, or wait within the next one.
    constexpr int rounds = 200;
    for (int round = 0; round < rounds; ++round)
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
        daemon.remove(fan, "Test.1.0.Slow", "/sensors/fan");
    }
    watcher.tell("signal TERM");
    std::string line;
    do
    {
        line = watcher.hear();
    } while (!line.starts_with("ended"));
    // A stopped terminal takes nothing, not even what restores its screen.
    EXPECT_EQ(line, "ended 0, screens not restored, keyboard restored");
}

} // namespace
} // namespace healthintf::test
