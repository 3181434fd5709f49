// SPDX-License-Identifier: Apache-2.0
/** @file Nodes that are created on request and removed again.
 *  test_healthmgr.cpp and test_bus_policy.cpp test the requests themselves. */

#include "bus_client.hpp"
#include "node_requests.hpp"
#include "service_on_bus.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

namespace healthintf::healthmgr
{
namespace
{

using test::BusClient;
using test::ServiceOnBus;

const std::string root = "/com/vexa/olvar/health";

class RequestedNodes : public testing::Test
{
  protected:
    static std::string readName(const BusClient& client)
    {
        const char* name = nullptr;
        sd_bus_get_unique_name(client.get(), &name);
        return name;
    }

    /** Requests a node and waits until it exists. */
    void request(const BusClient& client, const std::string& key)
    {
        sd_bus_call_method_async(
            client.get(), nullptr, service.connection.uniqueName().c_str(),
            "/com/vexa/olvar/healthmgr", "com.vexa.olvar.healthmgr",
            "AddHealthObject", nullptr, nullptr, "s", key.c_str());
        sd_bus_flush(client.get());
        service.runUntil("node " + key, [&] {
            return nodes.hosts(key);
        });
    }

    /** Searches for idle nodes as if @p later had passed since the test began.
     */
    void look(NodeSlots::Clock::duration later)
    {
        nodes.releaseIdle(start + later);
    }

    ServiceOnBus& service = ServiceOnBus::instance();
    NodeSlots::Clock::time_point start = NodeSlots::Clock::now();
    HostedNodes nodes{service.connection.bus()};
    PeerUsers users{service.connection};
    NodeRequests requests{service.connection, nodes, users};
};

TEST_F(RequestedNodes, AreRemovedAMinuteAfterTheirRequesterEnds)
{
    using std::chrono::seconds;
    auto client = std::make_unique<BusClient>();
    request(*client, root + "/a/b");
    look(seconds(0));
    look(seconds(100));
    EXPECT_TRUE(nodes.hosts(root + "/a/b"))
        << "the requester is still on the bus";
    nodes.forget(readName(*client));
    look(seconds(101));
    look(seconds(160));
    EXPECT_TRUE(nodes.hosts(root + "/a/b"));
    look(seconds(161));
    EXPECT_FALSE(nodes.hosts(root + "/a/b"));
    EXPECT_FALSE(nodes.hosts(root + "/a"));
    EXPECT_TRUE(nodes.hosts(root)) << "the root stays";
}

TEST_F(RequestedNodes, StayWhileTheyHaveChildren)
{
    using std::chrono::minutes;
    const BusClient client;
    request(client, root + "/a/b");
    nodes.forget(readName(client));
    datacache_healthstatus_create(root + "/a/child", {{"HealthStatus", 2u}});
    look(minutes(0));
    look(minutes(1));
    EXPECT_FALSE(nodes.hosts(root + "/a/b"));
    EXPECT_TRUE(nodes.hosts(root + "/a"));
    datacache_healthstatus_remove(root + "/a/child");
    look(minutes(2));
    EXPECT_TRUE(nodes.hosts(root + "/a"));
    look(minutes(3));
    EXPECT_FALSE(nodes.hosts(root + "/a"));
}

TEST_F(RequestedNodes, CanBeRequestedAgain)
{
    using std::chrono::minutes;
    const BusClient client;
    request(client, root + "/a");
    nodes.forget(readName(client));
    look(minutes(0));
    look(minutes(1));
    EXPECT_FALSE(nodes.hosts(root + "/a"));
    request(client, root + "/a");
}

} // namespace
} // namespace healthintf::healthmgr
