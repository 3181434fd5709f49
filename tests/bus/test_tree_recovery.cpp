// SPDX-License-Identifier: Apache-2.0
/** @file The tree with healthmgr: daemons start in any order and die in any
 *  way. */

#include "bus_client.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "managed_tree.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>

namespace healthintf::test
{
namespace
{

class TreeRecovery : public ManagedTree
{
  protected:
    void waitUntilManaged(const std::string& key, bool wanted = true)
    {
        client.waitUntil("change of hands of " + key, [&] {
            client.catchUp();
            return managed(key) == wanted;
        });
    }

    /** Requests a node, which stays while this client runs. */
    void request(const std::string& key)
    {
        client.call(service, "/com/vexa/olvar/healthmgr",
                    "com.vexa.olvar.healthmgr", "AddHealthObject", "s",
                    key.c_str());
    }

    /** Sends the HealthStatusUpdate of a node. */
    static void tell(const BusClient& sender, const std::string& key,
                     uint32_t health)
    {
        const std::string parent = key.substr(0, key.rfind('/'));
        sd_bus_emit_signal(
            sender.get(), key.c_str(), "com.vexa.olvar.healthmgr.HealthStatus",
            "HealthStatusUpdate", "ssu", parent.c_str(), key.c_str(), health);
    }
};

TEST_F(TreeRecovery, GivesALeafItsParentsUpToTheRoot)
{
    startManager();
    Component leaf(root + "/a/b/c", 2);
    client.waitForHealth(root, 2);
    leaf.add(root + "/a/b/c", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    EXPECT_EQ(client.health(service, root + "/a/b"), 4u);
    leaf.remove(root + "/a/b/c", "BAD", "/sensor");
    client.waitForHealth(root, 2);
}

TEST_F(TreeRecovery, ReportsTheEndOfAKilledRootAsItsNodeWouldHave)
{
    startManager();
    Component daemon(root, 3);
    waitUntilManaged(root, false);
    client.waitForHealth(root, 3);
    client.catchUp();
    client.updates.clear();
    daemon.process.kill();
    const std::string end = "/com/vexa/olvar " + root + " 0";
    // The manager may still tell the daemon's health once more.
    client.waitUntil("end of the root", [&] {
        return std::ranges::count(client.updates, end) > 0;
    });
    waitUntilManaged(root);
}

TEST_F(TreeRecovery, CompletesATreeOlderThanTheManager)
{
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    startManager();
    client.waitForHealth(root, 4);
    EXPECT_TRUE(managed(root + "/a"));
    leaf.remove(root + "/a/b", "BAD", "/sensor");
    client.waitForHealth(root, 2);
}

TEST_F(TreeRecovery, LeavesKeysOutsideTheTreeAlone)
{
    Component stranger("/elsewhere/deep/key", 2);
    startManager();
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(root, "/elsewhere/deep/key"));
}

TEST_F(TreeRecovery, WithdrawsTheRecordsOfAKilledDaemon)
{
    startManager();
    Component other(root + "/a/other", 2);
    Component leaf(root + "/a/leaf", 2);
    leaf.init(root + "/b", 2);
    leaf.add(root + "/a/leaf", "BAD", "/one", 1);
    leaf.add(root + "/a/leaf", "BAD", "/two", 2);
    client.waitForHealth(root, 4);
    leaf.process.kill();
    client.waitForHealth(root, 2);
    EXPECT_EQ(recordedFaults().size(), 0u);
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(root, root + "/a", root + "/a/other"));
    client.catchUp();
    EXPECT_THAT(client.updates,
                testing::IsSupersetOf({root + "/a " + root + "/a/leaf 0",
                                       root + " " + root + "/b 0"}));
}

TEST_F(TreeRecovery, WithdrawsADaemonThatDiedBeforeTheManagerStarted)
{
    Component living(root + "/living", 2);
    Component dead(root + "/dead", 2);
    dead.add(root + "/dead", "BAD", "/sensor", 1);
    dead.process.kill();
    startManager();
    client.waitForHealth(root, 2);
    EXPECT_THAT(recordedKeys(), testing::ElementsAre(root, root + "/living"));
    EXPECT_EQ(recordedFaults().size(), 0u);
}

TEST_F(TreeRecovery, LeavesOutTheFaultsOfADeadDaemonWhoseNodeAnotherTookOver)
{
    Component living(root + "/b", 2);
    Component dead(root + "/a", 2);
    dead.add(root + "/a", "BAD", "/sensor", 1);
    dead.process.kill();
    living.init(root + "/a", 2);
    living.add(root + "/a", "NEW", "/sensor", 2);
    EXPECT_EQ(recordedFaults().size(), 1u);
    startManager();
    client.waitForHealth(root, 3);
    EXPECT_EQ(recordedFaults().size(), 1u);
}

TEST_F(TreeRecovery, DoesNotBelieveLateReportsOfADeadDaemon)
{
    startManager();
    Component living(root + "/a", 2);
    client.waitForHealth(root, 2);
    {
        // It has no records, like a daemon that was withdrawn before its
        // reports arrive.
        const BusClient dead;
        tell(dead, root + "/a", 4);
        tell(dead, root + "/b", 3);
        dead.call("com.vexa.olvar.healthmgr", "/", "org.freedesktop.DBus.Peer",
                  "Ping", "");
    }
    client.catchUp();
    EXPECT_EQ(client.health("com.vexa.olvar.healthmgr", root), 2U);
}

TEST_F(TreeRecovery, ReportsAnEndThatAParentMissed)
{
    startManager();
    client.updates.clear();
    {
        BusClient ended;
        tell(ended, root + "/a", 0);
        ended.catchUp();
    }
    const std::string end = root + " " + root + "/a 0";
    client.waitUntil("the end told again", [&] {
        return std::ranges::count(client.updates, end) == 2;
    });
}

TEST_F(TreeRecovery, RepeatsAReportThatAnotherNodesEndOvertook)
{
    startManager();
    Component parent(root + "/a", 2);
    Component leaf(root + "/a/b", 3);
    client.waitForHealth(root, 3);
    client.updates.clear();
    {
        BusClient ended;
        tell(ended, root + "/a/b", 0);
        ended.catchUp();
    }
    const std::string parentIs = root + " " + root + "/a ";
    client.waitUntil("return of the node", [&] {
        const auto lost = std::ranges::find(client.updates, parentIs + "2");
        return std::find(lost, client.updates.end(), parentIs + "3") !=
               client.updates.end();
    });
}

TEST_F(TreeRecovery, BelievesNoEndOfANodeThatHasARecord)
{
    startManager();
    Component leaf(root + "/a/b", 3);
    client.waitForHealth(root, 3);
    // A daemon holds one of these nodes, healthmgr the other.
    for (const std::string& key : {root + "/a/b", root + "/a"})
    {
        client.updates.clear();
        BusClient stranger;
        tell(stranger, key, 0);
        stranger.catchUp();
        const std::string again =
            key.substr(0, key.rfind('/')) + " " + key + " 3";
        client.waitUntil("word of the record", [&] {
            return std::ranges::count(client.updates, again) > 0;
        });
        EXPECT_EQ(std::ranges::count(client.updates,
                                     "/com/vexa/olvar " + root + " 0"),
                  0)
            << key;
    }
}

TEST_F(TreeRecovery, WithdrawsADaemonThatEndsWithoutCleaningUp)
{
    startManager();
    Component leaf(root + "/a", 3);
    client.waitForHealth(root, 3);
    leaf.process.tell("quit");
    client.waitForHealth(root, 0);
    EXPECT_THAT(recordedKeys(), testing::ElementsAre(root));
}

TEST_F(TreeRecovery, ReplacesAParentThatWasKilled)
{
    startManager();
    Component parent(root + "/a", 2);
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    EXPECT_FALSE(managed(root + "/a"));
    parent.process.kill();
    waitUntilManaged(root + "/a");
    client.waitForHealth(root, 4);
    leaf.remove(root + "/a/b", "BAD", "/sensor");
    client.waitForHealth(root, 2);
}

TEST_F(TreeRecovery, ReplacesAParentThatEnded)
{
    startManager();
    Component parent(root + "/a", 2);
    Component leaf(root + "/a/b", 2);
    client.waitForHealth(root, 2);
    parent.end();
    waitUntilManaged(root + "/a");
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
}

TEST_F(TreeRecovery, ReplacesAParentWhoseDaemonKeepsRunning)
{
    startManager();
    Component parent(root + "/a", 2);
    Component leaf(root + "/a/b", 2);
    client.waitForHealth(root, 2);
    parent.expect("delete " + root + "/a", "ok");
    waitUntilManaged(root + "/a");
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
}

TEST_F(TreeRecovery, GivesANodeToTheDaemonThatComesForIt)
{
    startManager();
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    ASSERT_TRUE(managed(root + "/a"));

    Component parent(root + "/a", 2);
    waitUntilManaged(root + "/a", false);
    client.waitForHealth(root, 4);
    EXPECT_EQ(client.health(parent.name(), root + "/a"), 4u);
    leaf.remove(root + "/a/b", "BAD", "/sensor");
    client.waitForHealth(root, 2);
    parent.add(root + "/a", "OWN", "/sensor", 2);
    client.waitForHealth(root, 3);
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(root, root + "/a", root + "/a/b"));
}

TEST_F(TreeRecovery, ShowsNoOtherHealthWhileANodeChangesHands)
{
    startManager();
    const std::string rootIs = "/com/vexa/olvar " + root + " ";
    // The manager reports all records some time after its start. It may then
    // read one that a daemon has just made and not calculated yet.
    client.waitUntil("reports of the manager's start", [&] {
        return std::ranges::count(client.updates, rootIs + "0") >= 2;
    });
    Component leaf(root + "/a/b/c", 4);
    client.waitForHealth(root, 4);
    client.catchUp();
    client.updates.clear();
    {
        Component middle(root + "/a/b", 2);
        waitUntilManaged(root + "/a/b", false);
        client.catchUp();
        middle.end();
    }
    waitUntilManaged(root + "/a/b");
    leaf.expect("delete " + root + "/a/b/c", "ok");
    client.waitUntil("end of the fault", [&] {
        return std::ranges::count(client.updates, rootIs + "0") > 0;
    });
    std::erase_if(client.updates, [&](const std::string& update) {
        return !update.starts_with(rootIs) || update == rootIs + "4";
    });
    EXPECT_THAT(client.updates, testing::ElementsAre(rootIs + "0"));
}

TEST_F(TreeRecovery, ShowsTheYoungerHolderWhenTheOlderEndedWithoutAManager)
{
    startManager();
    const std::string key = root + "/a/b";
    Component parent(root + "/a", 2);
    Component older(key, 2);
    Component younger(key, 4);
    client.waitForHealth(root, 4);
    manager->kill();
    older.end();
    client.waitUntil("the end that overtook the younger one's health", [&] {
        return client.health(parent.name().c_str(), root + "/a") == 2u;
    });
    startManager();
    client.waitUntil("the younger one's health", [&] {
        return client.health(parent.name().c_str(), root + "/a") == 4u &&
               client.health(service, root) == 4u;
    });
}

TEST_F(TreeRecovery, ShowsTheYoungerHolderWhenTheOlderReportedWithoutAManager)
{
    const std::string key = root + "/a/b";
    Component parent(root + "/a", 2);
    Component older(key, 2);
    Component younger(key, 2);
    older.add(key, "BAD", "/sensor", 1);
    client.waitUntil("the older one's fault", [&] {
        return client.health(parent.name().c_str(), root + "/a") == 4u;
    });
    startManager();
    client.waitUntil("the younger one's health", [&] {
        return client.health(parent.name().c_str(), root + "/a") == 2u &&
               client.health(service, root) == 2u;
    });
}

TEST_F(TreeRecovery, ShowsTheHealthThatAnEnabledParentMissed)
{
    startManager();
    const std::string key = root + "/a/b";
    Component parent(key, 2);
    Component leaf(key + "/c", 4);
    client.waitForHealth(root, 4);
    parent.process.ask("disable " + key);
    parent.process.ask("enable " + key);
    client.waitUntil("health of the child", [&] {
        return client.health(parent.name().c_str(), key) == 4u;
    });
    client.waitForHealth(root, 4);
}

TEST_F(TreeRecovery, GivesTheRootToTheDaemonThatComesForIt)
{
    startManager();
    Component leaf(root + "/a", 3);
    client.waitForHealth(root, 3);
    Component top(root, 2);
    waitUntilManaged(root, false);
    client.waitForHealth(root, 3);
    top.end();
    waitUntilManaged(root);
    client.waitForHealth(root, 3);
}

TEST_F(TreeRecovery, SurvivesTheManagersDeathAndReturn)
{
    startManager();
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    manager->kill();
    leaf.remove(root + "/a/b", "BAD", "/sensor");
    leaf.add(root + "/a/b", "WORSE", "/sensor", 2);
    startManager();
    client.waitForHealth(root, 3);
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(root, root + "/a", root + "/a/b"));
}

TEST_F(TreeRecovery, RestartsADaemonUnderTheSameKey)
{
    startManager();
    auto leaf = std::make_unique<Component>(root + "/a", 2);
    leaf->add(root + "/a", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    leaf->process.kill();
    leaf = std::make_unique<Component>(root + "/a", 3);
    client.waitForHealth(root, 3);
    leaf->add(root + "/a", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    EXPECT_EQ(recordedFaults().size(), 1u);
}

TEST_F(TreeRecovery, TakesBackTheNodesOfDaemonsThatEndAtOnce)
{
    constexpr int parents = 40;
    startManager();
    std::vector<std::string> keys;
    std::vector<std::unique_ptr<Component>> daemons;
    for (int i = 0; i < parents; ++i)
    {
        keys.push_back(root + "/p" + std::to_string(i));
        request(keys.back());
        daemons.push_back(std::make_unique<Component>());
    }
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        daemons[i]->process.tell("init " + keys[i] + " 4");
        daemons[i]->process.endInput();
    }
    for (const auto& daemon : daemons)
    {
        daemon->process.wait();
    }
    for (const std::string& key : keys)
    {
        waitUntilManaged(key);
    }
    Component leaves;
    for (const std::string& key : keys)
    {
        leaves.init(key + "/leaf", 3);
        client.waitForHealth(key, 3);
    }
    client.waitForHealth(root, 3);
}

TEST_F(TreeRecovery, TakesBackARequestedNodeWhenItsDaemonEnds)
{
    startManager();
    const std::string key = root + "/a";
    request(key);
    for (const bool killed : {false, true})
    {
        Component daemon(key, 3);
        waitUntilManaged(key, false);
        if (killed)
        {
            daemon.process.kill();
        }
        else
        {
            daemon.end();
        }
        waitUntilManaged(key);
        client.waitForHealth(root, 0);
    }
}

TEST_F(TreeRecovery, KeepsAStoppedDaemonsRecords)
{
    startManager();
    Component leaf(root + "/a", 3);
    client.waitForHealth(root, 3);
    leaf.process.signal(SIGSTOP);
    Component other(root + "/b", 2);
    other.end();
    client.catchUp();
    EXPECT_THAT(recordedKeys(), testing::Contains(root + "/a"));
    leaf.process.signal(SIGCONT);
    leaf.add(root + "/a", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
}

TEST_F(TreeRecovery, KeepsTheTreeWholeWithoutAFileDescriptorForEachDaemon)
{
    constexpr std::size_t daemons = 20;
    std::vector<std::unique_ptr<Component>> leaves;
    for (std::size_t i = 0; i < daemons; ++i)
    {
        const std::string key =
            root + "/g" + std::string(1, static_cast<char>('a' + i)) + "/leaf";
        leaves.push_back(std::make_unique<Component>(key, 2));
        leaves.back()->add(key, "BAD", "/sensor", 2);
    }
    launchManager({"prlimit", "--nofile=20:20"});
    client.waitForHealth(root, 3);
    client.waitUntil("all parents", [&] {
        client.catchUp();
        return recordedKeys().size() == 1 + 2 * daemons;
    });
    EXPECT_EQ(recordedFaults().size(), daemons);
    const auto kill = [&](std::size_t first) {
        for (std::size_t i = first; i < leaves.size(); ++i)
        {
            leaves[i]->process.kill();
        }
        leaves.resize(first);
        client.waitUntil("withdrawal", [&] {
            client.catchUp();
            return recordedFaults().size() == first;
        });
    };
    kill(daemons - 1);
    kill(0);
}

TEST_F(TreeRecovery, SettlesAfterManyDaemonsDieAtOnce)
{
    startManager();
    std::vector<std::unique_ptr<Component>> leaves;
    for (int i = 0; i < 8; ++i)
    {
        const std::string key =
            root + "/g" + std::to_string(i % 2) + "/c" + std::to_string(i);
        leaves.push_back(std::make_unique<Component>(key, 2));
        leaves.back()->add(key, "BAD", "/sensor", i % 2 == 0 ? 1 : 2);
    }
    client.waitForHealth(root, 4);
    for (std::size_t i = 0; i < leaves.size(); i += 2)
    {
        leaves[i]->process.signal(SIGKILL);
    }
    client.waitForHealth(root, 3);
    for (std::size_t i = 1; i < leaves.size(); i += 2)
    {
        leaves[i]->process.signal(SIGKILL);
    }
    client.waitForHealth(root, 0);
    client.waitUntil("empty cache", [&] {
        client.catchUp();
        return recordedFaults().size() == 0;
    });
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(root, root + "/g0", root + "/g1"));
}

} // namespace
} // namespace healthintf::test
