// SPDX-License-Identifier: Apache-2.0
/** @file What operators see after an alarm, with all services running: a
 *  monitor that is lost, and a silence that outlasts restarts. */

#include "exporter.hpp"
#include "healthctl.hpp"
#include "history_follower.hpp"
#include "log_client.hpp"
#include "operator_records.hpp"
#include "visible_faults.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* lostMonitor = "HealthManager.1.0.MonitorLost";
constexpr const char* stuck = "Test.1.0.Stuck";

/** A whole system, in which the daemon of the pump has a critical fault. */
class AfterAlarm : public HealthctlTest
{
  protected:
    static void SetUpTestSuite()
    {
        setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
        setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
    }

    AfterAlarm()
    {
        startMonitor();
        client.waitForHealth(root, 4);
        follower.next("appeared", pump);
    }

    /** Starts the pump's daemon, which reports its fault. */
    void startMonitor()
    {
        monitor = std::make_unique<Component>(pump, 2);
        monitor->add(pump, stuck, "/sensors/pump", 1, 9);
    }

    /** The history of the pump by kinds. */
    static json readHistory()
    {
        json byKind;
        const json document = toJson({"history", "rack/pump"});
        for (const json& record : document["records"])
        {
            byKind[record["kind"].get<std::string>()].push_back(record);
        }
        return byKind;
    }

    const std::string pump = rack + "/pump";
    LogClient log;
    const Process logmgr = startWithHistory(log);
    std::unique_ptr<Component> monitor;
    Follower follower{{"rack/pump"}};
};

class LossOfAMonitor : public AfterAlarm
{
  protected:
    /** What the tools show. */
    json look() const
    {
        const Answer check = healthctl({"check"});
        const Answer doctor = healthctl({"doctor", "--brief"});
        const json samples = exporter.scrape()["samples"];
        const json document = toJson({"faults", "--all"});
        json faults = json::array();
        for (const json& fault : document["faults"])
        {
            faults.push_back(fault["messageId"]);
        }
        return {{"check", check.output},
                {"check status", check.status},
                {"doctor", doctor.output},
                {"doctor status", doctor.status},
                {"faults", faults},
                {"lost monitors", samples["healthintf_lost_monitors"]},
                {"root",
                 samples["healthintf_node_health{component=" + root + "}"]}};
    }

    /** Runs "healthctl check" until it tells of the lost monitor.
     *
     *  @return the statuses that it has ended with */
    static std::set<int> checkUntilLost()
    {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        std::set<int> statuses;
        while (std::chrono::steady_clock::now() < deadline)
        {
            const Answer check = healthctl({"check"});
            statuses.insert(check.status);
            if (check.output.find("1 lost monitor;") != std::string::npos)
            {
                return statuses;
            }
        }
        throw std::runtime_error("no lost monitor");
    }

    /** Expects that the history tells, once each, of the lost monitor, the
     *  killed process, and of the fault that went with it. */
    void expectRecordsOfLoss(const std::string& process) const
    {
        const json history = readHistory();
        ASSERT_THAT(history, AllOf(SizeIs(3), Each(SizeIs(1))));
        const json& withdrawn = history["withdrawn"][0];
        EXPECT_EQ(withdrawn["messageId"], stuck);
        EXPECT_EQ(withdrawn["severity"], "critical");
        EXPECT_EQ(std::to_string(withdrawn["processId"].get<int>()), process);
        EXPECT_EQ(withdrawn["path"], history["appeared"][0]["path"]);
        EXPECT_GE(withdrawn["lastedMs"], 0);
        const json& lost = history["monitor-lost"][0];
        EXPECT_EQ(lost["messageId"], lostMonitor);
        EXPECT_EQ(lost["severity"], "critical");
        EXPECT_EQ(lost["args"],
                  json::array({"component-daemo", process, "1", "critical"}));
    }

    /** Waits until the history has told these kinds. */
    void waitForRecords(std::set<std::string> kinds)
    {
        while (!kinds.empty())
        {
            kinds.erase(follower.next()["kind"]);
        }
    }

    /** Every health that the root has published since the last call, each
     *  behind the names of nodes. */
    std::vector<std::string> takeRootHealths()
    {
        client.catchUp();
        std::vector<std::string> healths;
        const auto take = [&](auto& heard, const std::string& beginning) {
            std::ranges::copy_if(heard, std::back_inserter(healths),
                                 [&](const std::string& each) {
                                     return each.starts_with(beginning);
                                 });
            heard.clear();
        };
        take(client.publications, root + " ");
        take(client.updates, "/com/vexa/olvar " + root + " ");
        return healths;
    }

    Exporter exporter;
};

TEST_F(LossOfAMonitor, IsLoudUntilTheDaemonIsBack)
{
    const json before = look();
    EXPECT_EQ(before["check status"], 2);
    EXPECT_EQ(before["doctor status"], 0);
    EXPECT_THAT(before["doctor"].get<std::string>(),
                StartsWith("0 problems, 0 warnings, "));
    EXPECT_EQ(before["faults"], json::array({stuck}));
    EXPECT_EQ(before["lost monitors"], 0);
    EXPECT_EQ(before["root"], 4);

    takeRootHealths();
    const auto killed = std::to_string(monitor->process.pid());
    monitor->process.kill();
    // The root is one of healthmgr's nodes, which show no better health before
    // the lost monitor's fault is there.
    EXPECT_THAT(checkUntilLost(), ElementsAre(2));
    waitForRecords({"withdrawn", "monitor-lost"});
    const json lost = look();
    EXPECT_THAT(takeRootHealths(), Each(EndsWith(" 4")));
    EXPECT_EQ(lost["check status"], 2);
    EXPECT_EQ(lost["faults"], json::array({lostMonitor}));
    EXPECT_EQ(lost["lost monitors"], 1);
    EXPECT_EQ(lost["root"], 4);
    EXPECT_EQ(lost["doctor status"], 0);
    EXPECT_THAT(
        lost["doctor"].get<std::string>(),
        AllOf(StartsWith("warning  nobody watches 1 component: " + pump +
                         ", since component-daemo[" + killed + "] ended\n"),
              HasSubstr("\n0 problems, 1 warning, ")));
    expectRecordsOfLoss(killed);
    EXPECT_THAT(takeRootHealths(), Each(EndsWith(" 4")));

    startMonitor();
    waitForRecords({"monitor-back", "appeared"});
    EXPECT_EQ(look(), before);
    const json history = readHistory();
    ASSERT_THAT(history["monitor-back"], SizeIs(1));
    EXPECT_EQ(history["monitor-back"][0]["path"],
              history["monitor-lost"][0]["path"]);
    ASSERT_THAT(history["appeared"], SizeIs(2));
    EXPECT_EQ(history["appeared"][1]["occurrence"], 2);

    // What listens to the root hears a recovery when there is one.
    monitor->remove(pump, stuck, "/sensors/pump");
    client.waitForHealth(root, 2);
    EXPECT_THAT(takeRootHealths(), Contains(root + " 2"));
}

class LongSilence : public AfterAlarm
{
  protected:
    using Clock = VisibleFaults::Clock;

    /** How long a new fault may be visible before the silence hides it. It
     *  takes some milliseconds; the machine may be busy. */
    static constexpr std::chrono::seconds mostUntilHidden{1};

    /** Kills healthmgr and starts another one. */
    void replaceManager()
    {
        (manager ? *manager : healthmgr).kill();
        manager =
            std::make_unique<Process>(std::vector<std::string>{HEALTHMGR});
        client.waitUntil("manager", [this] {
            return client.hasNode("com.vexa.olvar.healthmgr", root);
        });
    }

    /** Waits until so many faults have been seen, and none is visible. */
    void waitUntilHidden(std::size_t seen)
    {
        client.waitUntil("hidden fault", [this, seen] {
            return faults.times.size() >= seen && !faults.any();
        });
    }

    bool isOver() const
    {
        return !silences.signals.empty() &&
               silences.signals.back().first == "SilenceEnded";
    }

    /** The message ids of the faults in the order in which they were seen. */
    std::vector<std::string> seenFaults() const
    {
        std::vector<std::string> ids;
        for (const VisibleFaults::Time& time : faults.times)
        {
            ids.push_back(time.messageID);
        }
        return ids;
    }

    std::unique_ptr<Process> manager;
    VisibleFaults faults{client};
    RecordInterface silences{client, "com.vexa.olvar.healthmgr.Silences"};
};

TEST_F(LongSilence, HidesAFaultOverRestartsUntilItsEnd)
{
    constexpr std::chrono::seconds length{60};
    const auto before = Clock::now();
    const json added = toJson({"silence", "add", "--component", "rack/pump",
                               "--for", "1m", "--comment", "a new pump comes"});
    const auto after = Clock::now();
    EXPECT_EQ(added["seconds"], length.count());
    EXPECT_EQ(added["faults"], 1);
    client.waitForHealth(root, 2);

    replaceManager();
    monitor->process.kill();
    waitUntilHidden(1);
    replaceManager();
    waitUntilHidden(2);
    startMonitor();
    waitUntilHidden(3);
    const std::vector<std::string> newFaults{lostMonitor, lostMonitor, stuck};
    client.waitUntil(
        "end of the silence",
        [&] {
            return isOver() || faults.times.size() > newFaults.size();
        },
        length + patience);
    const auto end = Clock::now();
    ASSERT_TRUE(isOver()) << testing::PrintToString(seenFaults());
    EXPECT_EQ(seenFaults(), newFaults);
    for (const VisibleFaults::Time& time : faults.times)
    {
        ASSERT_TRUE(time.end) << time.messageID;
        EXPECT_LT(*time.end - time.begin, mostUntilHidden) << time.messageID;
    }
    EXPECT_GE(end - before, length);
    EXPECT_LT(end - after, length + std::chrono::seconds(2));

    client.waitForHealth(root, 4);
    EXPECT_THAT(seenFaults(),
                ElementsAre(lostMonitor, lostMonitor, stuck, stuck));
    EXPECT_TRUE(faults.any());
    EXPECT_EQ(healthctl({"silence", "list"}).status, 1);
    Follower shown({"rack/pump", "--kind", "shown"});
    EXPECT_EQ(shown.next()["messageId"], stuck);
    EXPECT_THAT(readHistory()["shown"], SizeIs(1));
}

} // namespace
} // namespace healthintf::test
