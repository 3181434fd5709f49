// SPDX-License-Identifier: Apache-2.0
/** @file The service healthmgr: its name, its object, its start and end. */

#include "address_sanitizer.hpp"
#include "bus_client.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health";
constexpr const char* service = "com.vexa.olvar.healthmgr";
constexpr const char* nodeInterface = "com.vexa.olvar.healthmgr.HealthStatus";

class Healthmgr : public testing::Test
{
  protected:
    /** A running healthmgr that is ready. */
    Process manager()
    {
        Process started({HEALTHMGR});
        client.waitUntil("manager", [&] {
            return !client.findOwner(service).empty() && nodeIsThere(root);
        });
        return started;
    }

    bool nodeIsThere(const std::string& key) const
    {
        return client.hasNode(service, key);
    }

    void request(const std::string& key)
    {
        client.call(service, "/com/vexa/olvar/healthmgr",
                    "com.vexa.olvar.healthmgr", "AddHealthObject", "s",
                    key.c_str());
    }

    /** Sends the HealthStatusUpdate of a node. */
    void update(const std::string& parent, const std::string& key,
                uint32_t health) const
    {
        sd_bus_emit_signal(client.get(), "/x", nodeInterface,
                           "HealthStatusUpdate", "ssu", parent.c_str(),
                           key.c_str(), health);
    }

    std::string refusal(const std::string& key)
    {
        try
        {
            request(key);
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
        return "";
    }

    PrivateBus bus{openRules + matchRuleLimit(512)};
    BusClient client;
};

TEST_F(Healthmgr, OwnsItsNameAndTheRoot)
{
    const Process running = manager();
    EXPECT_EQ(client.health(service, root), 0u);
}

TEST_F(Healthmgr, MakesANodeWithItsAncestorsFirst)
{
    const Process running = manager();
    request(root + "/a/b/c");
    EXPECT_TRUE(nodeIsThere(root + "/a"));
    EXPECT_TRUE(nodeIsThere(root + "/a/b"));
    EXPECT_TRUE(nodeIsThere(root + "/a/b/c"));
    client.catchUp();
    const std::vector<std::string> expected{root + " " + root + "/a 0",
                                            root + "/a " + root + "/a/b 0",
                                            root + "/a/b " + root + "/a/b/c 0"};
    EXPECT_EQ(std::vector<std::string>(client.updates.end() - 3,
                                       client.updates.end()),
              expected);
}

TEST_F(Healthmgr, MakesANodeOnce)
{
    const Process running = manager();
    request(root + "/a");
    request(root + "/a");
    request(root);
    EXPECT_EQ(client.objects(client.findOwner(service)).size(), 1u)
        << "the root is the object manager's own path";
}

TEST_F(Healthmgr, RefusesAnInvalidKey)
{
    Process running = manager();
    constexpr const char* invalid = "org.freedesktop.DBus.Error.InvalidArgs";
    EXPECT_THAT(refusal(""), HasSubstr(invalid));
    EXPECT_THAT(refusal("abc"), HasSubstr("no object path"));
    EXPECT_THAT(refusal("/elsewhere"), HasSubstr("not below " + root));
    EXPECT_THAT(refusal(root + "more"), HasSubstr("not below " + root));
    std::string deep = root;
    for (int i = 0; i < 33; ++i)
    {
        deep += "/x";
    }
    EXPECT_THAT(refusal(deep), HasSubstr("more than 32 levels deep"));
    EXPECT_EQ(refusal(deep.substr(0, deep.size() - 2)), "");
    EXPECT_EQ(refusal(root + "/" + std::string(462, 'x')), "");
    EXPECT_THAT(refusal(root + "/" + std::string(463, 'x')),
                HasSubstr("this is no key: more than 485 bytes long"));
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
}

TEST_F(Healthmgr, RefusesMalformedRequests)
{
    const Process running = manager();
    const auto fails = [this](const char* types, auto... args) {
        try
        {
            client.call(service, "/com/vexa/olvar/healthmgr",
                        "com.vexa.olvar.healthmgr", "AddHealthObject", types,
                        args...);
            return false;
        }
        catch (const std::runtime_error&)
        {
            return true;
        }
    };
    EXPECT_TRUE(fails(""));
    EXPECT_TRUE(fails("u", 1u));
    EXPECT_TRUE(fails("ss", "/a", "/b"));
    EXPECT_TRUE(nodeIsThere(root));
}

TEST_F(Healthmgr, RefusesANodeThatTheBusHasNoRoomFor)
{
    const Process running = manager();
    const auto key = [](int number) {
        return root + "/n" + std::to_string(number);
    };
    int made = 0;
    std::string cause;
    while ((cause = refusal(key(made))).empty())
    {
        ASSERT_LT(++made, 512) << "a node needs more than one match rule";
    }
    EXPECT_THAT(cause,
                HasSubstr("org.freedesktop.DBus.Error.Failed: unable to make "
                          "the node " +
                          key(made)));
    EXPECT_TRUE(nodeIsThere(key(made - 1)));
    EXPECT_EQ(refusal(key(made)), cause) << "when asked again";
    EXPECT_THAT(refusal(key(made) + "/below"),
                HasSubstr("unable to make the node " + key(made) + "/below"));
}

TEST_F(Healthmgr, SurvivesMalformedSignals)
{
    const Process running = manager();
    const auto send = [this](const char* types, auto... args) {
        sd_bus_emit_signal(client.get(), "/x", nodeInterface,
                           "HealthStatusUpdate", types, args...);
    };
    send("");
    send("s", root.c_str());
    send("u", 1u);
    send("ssi", root.c_str(), "/x", -1);
    const Component sound(root + "/a", 3);
    client.waitForHealth(root, 3);
    const std::string log = running.errors();
    EXPECT_THAT(log, HasSubstr("is no node's, refused"));
    EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
}

TEST_F(Healthmgr, IgnoresTheEndOfAnInvalidPath)
{
    const Process running = manager();
    client.catchUp();
    client.updates.clear();
    update(root, "no path", 0);
    // healthmgr would react to the update before it processes this.
    request(root + "/a");
    client.catchUp();
    const std::vector<std::string> expected{root + " no path 0",
                                            root + " " + root + "/a 0"};
    EXPECT_EQ(client.updates, expected);
}

TEST_F(Healthmgr, IgnoresMadeUpChildrenOfItsNodes)
{
    const Process running = manager();
    request(root + "/a/b");
    const std::string longest = root + "/" + std::string(462, 'x');
    for (const std::string& child :
         {std::string("no path"), std::string(), std::string("/elsewhere"),
          root, root + "/a/b", longest + "x"})
    {
        update(root, child, 4);
    }
    update("/com/vexa/olvar", "/com/vexa/olvar/else", 4);
    client.updates.clear();
    update(root, longest, 4);
    const Component sound(root + "/c", 3);
    client.waitForHealth(root, 3);
    EXPECT_EQ(
        std::ranges::count(client.updates, "/com/vexa/olvar " + root + " 4"),
        0);
}

TEST_F(Healthmgr, WithdrawsMadeUpChildrenFromParentsInOtherProcesses)
{
    const Process running = manager();
    Component parent(root + "/a", 2);
    client.waitForHealth(root, 2);
    for (const std::string& child :
         {std::string("no path"), std::string("/elsewhere"), root + "/b",
          root + "/a/b/c", root + "/a/" + std::string(461, 'x')})
    {
        client.updates.clear();
        update(root + "/a", child, 4);
        client.waitUntil("rise and fall for " + child, [&] {
            const std::string parentIs = root + " " + root + "/a ";
            const auto rise = std::ranges::find(client.updates, parentIs + "4");
            return std::find(rise, client.updates.end(), parentIs + "2") !=
                   client.updates.end();
        });
    }
}

TEST_F(Healthmgr, WithdrawsTheMadeUpNodesOfASenderThatExceedsItsLimit)
{
    const Process running = manager();
    Component parent(root + "/a", 2);
    client.waitForHealth(root, 2);
    {
        const BusClient flood;
        // Each report counts 485 bytes and 128 more against the limit of 1 MiB.
        constexpr int more = (1 << 20) / (485 + 128) + 50;
        const std::string base = root + "/a/" + std::string(454, 'x');
        for (int i = 0; i < more; ++i)
        {
            const std::string child = base + std::to_string(100000 + i);
            ASSERT_EQ(child.size(), 485U);
            sd_bus_emit_signal(flood.get(), "/x", nodeInterface,
                               "HealthStatusUpdate", "ssu",
                               (root + "/a").c_str(), child.c_str(), 4u);
        }
        sd_bus_flush(flood.get());
        client.waitForHealth(root, 4);
    }
    client.waitForHealth(root, 2);
}

TEST_F(Healthmgr, UsesLittleMemoryForLongKeys)
{
    if (isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer keeps memory that was freed";
    }
    const Process running = manager();
    const Component parent(root + "/a", 2);
    client.waitForHealth(root, 2);
    const std::string large(8UL << 20, 'x');
    const std::string below = "/" + large;
    for (int i = 0; i < 8; ++i)
    {
        update(root, large + std::to_string(i), 4);
        update(root, root + below + std::to_string(i), 4);
        update(root + "/a", large + std::to_string(i), 4);
        client.catchUp();
    }
    EXPECT_THAT(refusal(root + below), HasSubstr("this is no key"));
    EXPECT_LT(running.peakMemory(), 60U) << "MiB of 192 that were sent";
    client.waitForHealth(root, 2);
}

TEST_F(Healthmgr, KeepsANodeThatAnotherProcessOnlyPretendsToHold)
{
    const Process running = manager();
    request(root + "/a");
    update(root, root + "/a", 2);
    request(root + "/b");
    EXPECT_TRUE(nodeIsThere(root + "/a"));
    EXPECT_EQ(client.health(service, root), 0U) << "there is no such record";
}

TEST_F(Healthmgr, EndsWhenTheNameIsTaken)
{
    const Process running = manager();
    Process second({HEALTHMGR});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(second.errors(),
                HasSubstr("healthmgr: com.vexa.olvar.healthmgr: File exists"));
    EXPECT_TRUE(nodeIsThere(root));
}

TEST_F(Healthmgr, EndsWithoutABus)
{
    bus.kill();
    Process alone({HEALTHMGR});
    EXPECT_EQ(alone.wait(), 1);
    EXPECT_THAT(alone.errors(),
                HasSubstr("healthmgr: unable to connect to the bus"));
}

TEST_F(Healthmgr, EndsWhenItLosesTheBus)
{
    Process running = manager();
    bus.kill();
    EXPECT_EQ(running.wait(), 1);
    EXPECT_THAT(running.errors(),
                HasSubstr("the connection to the bus is lost"));
}

TEST_F(Healthmgr, EndsCleanlyOnASignal)
{
    for (const int signal : {SIGTERM, SIGINT})
    {
        Process running = manager();
        running.signal(signal);
        EXPECT_EQ(running.wait(), 0);
    }
}

TEST_F(Healthmgr, IsStartedByTheRequestForAParent)
{
    bus.activate(service, HEALTHMGR);
    Component daemon(root + "/a/b", 2);
    client.waitForHealth(root, 2);
    EXPECT_EQ(client.health(service, root + "/a"), 2u);
    // Services that the bus started end with it.
    bus.kill();
}

TEST_F(Healthmgr, PrintsItsVersionAndItsPurpose)
{
    EXPECT_THAT(readOutput({HEALTHMGR, "--version"}),
                testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_THAT(readOutput({HEALTHMGR, "--help"}),
                HasSubstr("Holds the nodes of the health tree"));
    Process wrong({HEALTHMGR, "--wrong"});
    EXPECT_NE(wrong.wait(), 0);
}

} // namespace
} // namespace healthintf::test
