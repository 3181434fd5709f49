// SPDX-License-Identifier: Apache-2.0
/** @file The health tree of several processes on a real bus without healthmgr:
 *  every node belongs to a component. */

#include "bus_client.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

const std::string root = "/com/vexa/olvar/health";

class HealthTree : public testing::Test
{
  protected:
    PrivateBus bus;
    BusClient client;
};

TEST_F(HealthTree, CarriesAFaultFromTheLeafToTheRootOverSixProcesses)
{
    std::vector<std::string> keys{root};
    std::vector<std::unique_ptr<Component>> chain;
    for (const char* name : {"chassis", "board", "cpu", "core", "cache"})
    {
        keys.push_back(keys.back() + "/" + name);
    }
    for (const std::string& key : keys)
    {
        chain.push_back(std::make_unique<Component>(key, 2));
    }
    ASSERT_EQ(chain.size(), 6u);
    const std::string& leaf = keys.back();

    chain.back()->add(leaf, "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        EXPECT_EQ(client.health(chain[i]->name(), keys[i]), 4u) << keys[i];
        EXPECT_EQ(recordedHealth(keys[i]), 4u) << keys[i];
    }

    chain.back()->remove(leaf, "BAD", "/sensor");
    client.waitForHealth(root, 2);
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        EXPECT_EQ(client.health(chain[i]->name(), keys[i]), 2u) << keys[i];
    }
}

TEST_F(HealthTree, IsTheWorstOfItsBranches)
{
    Component top(root, 2);
    Component left(root + "/left", 2);
    Component right(root + "/right", 2, "own-loop");
    left.add(root + "/left", "WORSE", "/sensor", 2);
    client.waitForHealth(root, 3);
    right.add(root + "/right", "WORST", "/sensor", 1);
    client.waitForHealth(root, 4);
    right.remove(root + "/right", "WORST", "/sensor");
    client.waitForHealth(root, 3);
    left.remove(root + "/left", "WORSE", "/sensor");
    client.waitForHealth(root, 2);
}

TEST_F(HealthTree, IncludesChildrenThatStartedBeforeTheirParent)
{
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root + "/a/b", 4);
    Component middle(root + "/a", 2);
    client.waitForHealth(root + "/a", 4);
    Component top(root, 2);
    client.waitForHealth(root, 4);
    leaf.remove(root + "/a/b", "BAD", "/sensor");
    client.waitForHealth(root, 2);
}

TEST_F(HealthTree, IncludesTheChildrenOfARestartedParentAgain)
{
    Component top(root, 2);
    auto middle = std::make_unique<Component>(root + "/a", 2);
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);

    middle->end();
    client.waitForHealth(root, 2);
    middle = std::make_unique<Component>(root + "/a", 2);
    client.waitForHealth(root, 4);
    leaf.remove(root + "/a/b", "BAD", "/sensor");
    client.waitForHealth(root, 2);
}

TEST_F(HealthTree, HoldsNothingOfADaemonThatEnded)
{
    Component top(root, 2);
    {
        Component leaf(root + "/a", 2);
        leaf.add(root + "/a", "BAD", "/one", 1);
        leaf.add(root + "/a", "BAD", "/two", 2);
        client.waitForHealth(root, 4);
        EXPECT_EQ(recordedFaults().size(), 2u);
        leaf.end();
    }
    client.waitForHealth(root, 2);
    EXPECT_EQ(recordedFaults().size(), 0u);
    EXPECT_EQ(recordedHealth(root + "/a"), std::nullopt);
}

TEST_F(HealthTree, ShowsNodesAndEntriesToAClient)
{
    Component daemon(root, 2);
    daemon.init(root + "/a", 2);
    daemon.add(root + "/a", "BAD", "/sensor", 1);
    const auto objects = client.objects(daemon.name());
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(
        objects.at(root + "/a"),
        std::vector<std::string>{"com.vexa.olvar.healthmgr.HealthStatus"});
    const auto& entry = *objects.rbegin();
    EXPECT_THAT(entry.first,
                testing::MatchesRegex(root + "/a/entry/Fault_[0-9A-F]+0000_4"));
    EXPECT_EQ(entry.second,
              std::vector<std::string>{"com.vexa.olvar.healthmgr.FaultEntry"});
}

TEST_F(HealthTree, KeepsEntriesOfDifferentProcessesApart)
{
    // Each process numbers its faults from 0.
    Component first(root + "/a", 2);
    Component second(root + "/b", 2);
    first.add(root + "/a", "BAD", "/sensor", 1);
    second.add(root + "/b", "BAD", "/sensor", 1);
    EXPECT_EQ(recordedFaults().size(), 2u);
    second.remove(root + "/b", "BAD", "/sensor");
    EXPECT_EQ(recordedFaults().size(), 1u);
}

TEST_F(HealthTree, GivesTheKeyToTheLatestDaemon)
{
    Component first(root + "/a", 2);
    Component second(root + "/a", 3);
    EXPECT_EQ(recordedHealth(root + "/a"), 3u);
    first.add(root + "/a", "BAD", "/sensor", 1);
    EXPECT_EQ(recordedHealth(root + "/a"), 3u)
        << "the record of another is not written";
    first.end();
    EXPECT_EQ(recordedHealth(root + "/a"), 3u) << "and not removed";
}

TEST_F(HealthTree, SurvivesALostConnection)
{
    Component daemon(root, 2);
    daemon.add(root, "BAD", "/sensor", 1);
    daemon.expect("close", "ok");
    daemon.expect("add " + root + " WORSE /sensor 1", "4");
    daemon.expect("remove " + root + " BAD /sensor", "0");
    daemon.expect("init " + root + "/a 2", "null");
    daemon.end();
}

} // namespace
} // namespace healthintf::test
