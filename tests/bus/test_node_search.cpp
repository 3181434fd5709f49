// SPDX-License-Identifier: Apache-2.0
#include "component.hpp"
#include "listing_peer.hpp"
#include "node_search.hpp"
#include "service_on_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{
namespace
{

using Peer = test::ListingPeer;
using test::ServiceOnBus;
using testing::UnorderedElementsAre;

const std::string root = "/com/vexa/olvar/health";
constexpr const char* node = "com.vexa.olvar.healthmgr.HealthStatus";

class SearchForNodes : public testing::Test
{
  protected:
    void waitForKeys(std::size_t count)
    {
        service.runUntil("nodes", [&] {
            return found.size() >= count;
        });
    }

    ServiceOnBus& service = ServiceOnBus::instance();
    std::vector<std::string> found;
    NodeSearch search{service.connection, service.loop,
                      [this](const NodeSearch::Keys& keys) {
                          found.insert(found.end(), keys.begin(), keys.end());
                      },
                      std::chrono::milliseconds(100)};
};

TEST_F(SearchForNodes, FindsTheNodesOfAllProcessesWithoutTheirFaults)
{
    test::Component first(root + "/a", 2);
    first.init(root + "/a/b", 2);
    first.add(root + "/a", "BAD", "/sensor", 1);
    const test::Component second(root + "/c", 2);
    search.begin();
    waitForKeys(3);
    service.catchUp();
    EXPECT_THAT(found,
                UnorderedElementsAre(root + "/a", root + "/a/b", root + "/c"));
}

TEST_F(SearchForNodes, AsksAProcessAgainThatMayHaveMadeANodeMeanwhile)
{
    test::Component asked(root + "/a", 2);
    const test::Component other(root + "/c", 2);
    const std::string peer = asked.init(root + "/b", 2);
    search.ask(peer);
    search.ask(peer);
    search.ask(peer);
    waitForKeys(4);
    service.catchUp();
    EXPECT_THAT(found, UnorderedElementsAre(root + "/a", root + "/b",
                                            root + "/a", root + "/b"));
    search.ask(peer);
    waitForKeys(6);
}

TEST_F(SearchForNodes, ContinuesAfterMalformedReplies)
{
    int refused = 0;
    const auto count = [&refused](int result) {
        ++refused;
        return result;
    };
    const Peer text([&](sd_bus_message* call) {
        return count(sd_bus_reply_method_return(call, "s", "none"));
    });
    const Peer nothing([&](sd_bus_message* call) {
        return count(sd_bus_reply_method_return(call, nullptr));
    });
    const Peer interfaces([&](sd_bus_message* call) {
        return count(
            sd_bus_reply_method_return(call, "a{oas}", 1, "/a", 1, node));
    });
    const Peer error([&](sd_bus_message* call) {
        return count(sd_bus_reply_method_errno(call, EPERM, nullptr));
    });
    std::vector<std::unique_ptr<Peer>> nodes;
    constexpr std::size_t many = 20;
    for (std::size_t i = 0; i < many; ++i)
    {
        nodes.push_back(std::make_unique<Peer>([](sd_bus_message* call) {
            return sd_bus_reply_method_return(call, "a{oa{sa{sv}}}", 1, "/a", 2,
                                              "other.Interface", 0, node, 0);
        }));
    }
    search.begin();
    service.runUntil("answers", [&] {
        return found.size() == many && refused == 4;
    });
    service.catchUp();
    EXPECT_EQ(found.size(), many);
}

/** A connection that answers the search when it is told to. */
class SilentPeer
{
  public:
    void answer()
    {
        sd_bus_reply_method_return(call.get(), "a{oa{sa{sv}}}", 1, "/late", 1,
                                   node, 0);
        peer.catchUp();
    }

    void catchUp()
    {
        peer.catchUp();
    }

    int asked = 0;

  private:
    MessagePtr call;
    Peer peer{[this](sd_bus_message* received) {
        ++asked;
        call.reset(sd_bus_message_ref(received));
        return 1;
    }};
};

TEST_F(SearchForNodes, AsksASilentConnectionAgainOnlyAfterItsAnswer)
{
    SilentPeer silent;
    const Peer other([](sd_bus_message* call) {
        return Peer::list(call, root, 1);
    });
    search.begin();
    service.runUntil("question and node", [&] {
        return silent.asked == 1 && found.size() == 1;
    });
    search.begin();
    waitForKeys(2);
    silent.catchUp();
    EXPECT_EQ(silent.asked, 1);
    silent.answer();
    service.runUntil("node", [&] {
        return std::ranges::count(found, "/late") == 1;
    });
    // It may have made a node after it was asked first.
    service.runUntil("next question", [&] {
        return silent.asked == 2;
    });
}

TEST_F(SearchForNodes, AsksNoConnectionAgainThatThePolicyKeepsItFrom)
{
    // As the bus answers then.
    int asked = 0;
    Peer barred([&asked](sd_bus_message* call) {
        ++asked;
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED,
                                          "Rejected send message");
    });
    const Peer other([](sd_bus_message* call) {
        return Peer::list(call, root, 1);
    });
    for (std::size_t searches = 1; searches <= 3; ++searches)
    {
        search.begin();
        waitForKeys(searches);
        barred.catchUp();
        service.catchUp();
    }
    EXPECT_EQ(asked, 1);
}

TEST_F(SearchForNodes, GoesOnWhileManyConnectionsAreSilent)
{
    constexpr std::size_t many = 20;
    std::vector<SilentPeer> silent(many);
    const test::Component daemon(root + "/a", 2);
    search.begin();
    service.runUntil("questions", [&] {
        return std::ranges::all_of(silent, [](const SilentPeer& each) {
            return each.asked == 1;
        });
    });
    waitForKeys(1);
    EXPECT_THAT(found, UnorderedElementsAre(root + "/a"));
}

TEST_F(SearchForNodes, ReadsABoundedNumberOfObjectsOfAConnection)
{
    bool answered = false;
    const Peer peer([&answered](sd_bus_message* call) {
        answered = true;
        return Peer::list(call, root, NodeSearch::mostObjects + 1);
    });
    search.begin();
    waitForKeys(NodeSearch::mostObjects);
    service.catchUp();
    EXPECT_TRUE(answered);
    EXPECT_EQ(found.size(), NodeSearch::mostObjects);
}

/** Replies with two nodes, the first with a property of @p elements elements.
 */
int listWithProperty(sd_bus_message* call, std::size_t elements)
{
    sd_bus_message* raw = nullptr;
    sd_bus_message_new_method_return(call, &raw);
    const MessagePtr reply(raw);
    sd_bus_message_open_container(raw, 'a', "{oa{sa{sv}}}");
    sd_bus_message_open_container(raw, 'e', "oa{sa{sv}}");
    sd_bus_message_append(raw, "o", "/a");
    sd_bus_message_open_container(raw, 'a', "{sa{sv}}");
    sd_bus_message_open_container(raw, 'e', "sa{sv}");
    sd_bus_message_append(raw, "s", node);
    sd_bus_message_open_container(raw, 'a', "{sv}");
    sd_bus_message_open_container(raw, 'e', "sv");
    sd_bus_message_append(raw, "s", "Property");
    sd_bus_message_open_container(raw, 'v', "ab");
    sd_bus_message_open_container(raw, 'a', "b");
    for (std::size_t i = 0; i < elements; ++i)
    {
        sd_bus_message_append(raw, "b", 1);
    }
    for (int i = 0; i < 7; ++i)
    {
        sd_bus_message_close_container(raw);
    }
    sd_bus_message_append(raw, "{oa{sa{sv}}}", "/b", 1, node, 0);
    sd_bus_message_close_container(raw);
    return sd_bus_message_send(raw);
}

TEST_F(SearchForNodes, ReadsABoundedNumberOfElementsOfAConnection)
{
    // The properties' array, its entry with name and variant, the array in it;
    // and the empty array of the second node.
    constexpr std::size_t others = 6;
    constexpr std::size_t most = NodeSearch::mostElements - others;
    {
        const Peer peer([](sd_bus_message* call) {
            return listWithProperty(call, most);
        });
        search.begin();
        waitForKeys(1);
    }
    EXPECT_THAT(found, UnorderedElementsAre("/a", "/b"));
    found.clear();
    const Peer peer([](sd_bus_message* call) {
        return listWithProperty(call, most + 1);
    });
    search.begin();
    waitForKeys(1);
    EXPECT_THAT(found, UnorderedElementsAre("/a"));
}

TEST_F(SearchForNodes, SkipsPropertiesOfAnyForm)
{
    const Peer peer([](sd_bus_message* call) {
        return sd_bus_reply_method_return(
            call, "a{oa{sa{sv}}}", 2, "/a", 1, node, 4, "array", "ay", 3, 1, 2,
            3, "struct", "(sad)", "text", 1, 2.5, "map", "a{su}", 1, "one", 1u,
            "variant", "v", "b", 1, "/b", 1, node, 0);
    });
    search.begin();
    waitForKeys(2);
    EXPECT_THAT(found, UnorderedElementsAre("/a", "/b"));
}

TEST_F(SearchForNodes, FindsANodeThatIsListedTwiceOnce)
{
    const Peer peer([](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "a{oa{sa{sv}}}", 3, "/a", 1,
                                          node, 0, "/b", 1, node, 0, "/a", 1,
                                          node, 0);
    });
    search.begin();
    waitForKeys(2);
    service.catchUp();
    EXPECT_THAT(found, UnorderedElementsAre("/a", "/b"));
}

TEST_F(SearchForNodes, EndsWithItsOwner)
{
    const test::Component daemon(root + "/a", 2);
    {
        NodeSearch brief(
            service.connection, service.loop, [this](const auto& keys) {
                found.insert(found.end(), keys.begin(), keys.end());
            });
        brief.begin();
    }
    service.catchUp();
    service.catchUp();
    EXPECT_TRUE(found.empty());
}

} // namespace
} // namespace healthintf::healthmgr
