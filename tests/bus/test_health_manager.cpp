/** @file The health manager's service: its name, its object and its life. */

#include "bus_client.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health";
constexpr const char* service = "com.vexa.olvar.healthmgr";

class HealthManager : public testing::Test
{
  protected:
    /** A manager that is ready. */
    Process manager()
    {
        Process started({HEALTHMGR});
        client.waitUntil("manager", [&] {
            return !client.ownerOf(service).empty() && nodeIsThere(root);
        });
        return started;
    }

    bool nodeIsThere(const std::string& key)
    {
        try
        {
            client.health(service, key);
            return true;
        }
        catch (const std::runtime_error&)
        {
            return false;
        }
    }

    void request(const std::string& key)
    {
        client.call(service, "/com/vexa/olvar/healthmgr",
                    "com.vexa.olvar.healthmgr", "AddHealthObject", "s",
                    key.c_str());
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

    PrivateBus bus;
    BusClient client;
};

TEST_F(HealthManager, OwnsItsNameAndTheRoot)
{
    const Process running = manager();
    EXPECT_EQ(client.health(service, root), 0u);
}

TEST_F(HealthManager, MakesANodeWithItsAncestorsFirst)
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

TEST_F(HealthManager, MakesANodeOnce)
{
    const Process running = manager();
    request(root + "/a");
    request(root + "/a");
    request(root);
    EXPECT_EQ(client.objects(client.ownerOf(service)).size(), 1u)
        << "the root is the object manager's own path";
}

TEST_F(HealthManager, RefusesWhatIsNoKey)
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
    EXPECT_THAT(refusal(root + "/" + std::string(490, 'x')),
                HasSubstr("more than 510 bytes long"));
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
}

TEST_F(HealthManager, RefusesMalformedRequests)
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

TEST_F(HealthManager, RefusesANodeThatTheBusHasNoRoomFor)
{
    const Process running = manager();
    const auto key = [](int number) {
        return root + "/n" + std::to_string(number);
    };
    int made = 0;
    std::string cause;
    while ((cause = refusal(key(made))).empty())
    {
        ASSERT_LT(++made, 512) << "a node takes more than one match rule";
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

TEST_F(HealthManager, LivesOnAfterMalformedSignals)
{
    const Process running = manager();
    const auto update = [this](const char* types, auto... args) {
        sd_bus_emit_signal(client.get(), "/x",
                           "com.vexa.olvar.healthmgr.HealthStatus",
                           "HealthStatusUpdate", types, args...);
    };
    update("");
    update("s", root.c_str());
    update("u", 1u);
    update("ssi", root.c_str(), "/x", -1);
    update("ssu", root.c_str(), "no path", 3u);
    client.waitForHealth(root, 3);
    EXPECT_THAT(running.errors(), HasSubstr("EXCEPTION"));
}

TEST_F(HealthManager, HasNothingToSayOfTheEndOfWhatIsNoNode)
{
    const Process running = manager();
    sd_bus_emit_signal(
        client.get(), "/x", "com.vexa.olvar.healthmgr.HealthStatus",
        "HealthStatusUpdate", "ssu", root.c_str(), "no path", 0u);
    // The manager would ask the sender whether it is through, and hear that
    // before the second request.
    request(root + "/a");
    client.catchUp();
    request(root + "/a");
    EXPECT_EQ(running.errors(), "");
}

TEST_F(HealthManager, KeepsANodeThatSomebodyOnlyPretendsToHold)
{
    const Process running = manager();
    request(root + "/a");
    sd_bus_emit_signal(
        client.get(), "/x", "com.vexa.olvar.healthmgr.HealthStatus",
        "HealthStatusUpdate", "ssu", root.c_str(), (root + "/a").c_str(), 2u);
    client.waitForHealth(root, 2);
    EXPECT_TRUE(nodeIsThere(root + "/a"));
}

TEST_F(HealthManager, EndsWhenTheNameIsTaken)
{
    const Process running = manager();
    Process second({HEALTHMGR});
    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(second.errors(),
                HasSubstr("healthmgr: com.vexa.olvar.healthmgr: File exists"));
    EXPECT_TRUE(nodeIsThere(root));
}

TEST_F(HealthManager, EndsWithoutABus)
{
    bus.kill();
    Process alone({HEALTHMGR});
    EXPECT_EQ(alone.wait(), 1);
    EXPECT_THAT(alone.errors(),
                HasSubstr("healthmgr: unable to connect to the bus"));
}

TEST_F(HealthManager, EndsWhenItLosesTheBus)
{
    Process running = manager();
    bus.kill();
    EXPECT_EQ(running.wait(), 1);
    EXPECT_THAT(running.errors(),
                HasSubstr("the connection to the bus is lost"));
}

TEST_F(HealthManager, EndsCleanlyOnASignal)
{
    for (const int signal : {SIGTERM, SIGINT})
    {
        Process running = manager();
        running.signal(signal);
        EXPECT_EQ(running.wait(), 0);
    }
}

TEST_F(HealthManager, IsStartedByTheRequestForAParent)
{
    bus.activate(service, HEALTHMGR);
    Component daemon(root + "/a/b", 2);
    client.waitForHealth(root, 2);
    EXPECT_EQ(client.health(service, root + "/a"), 2u);
    // What the bus started ends with the bus.
    bus.kill();
}

TEST_F(HealthManager, TellsItsVersionAndItsPurpose)
{
    EXPECT_THAT(outputOf({HEALTHMGR, "--version"}),
                testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_THAT(outputOf({HEALTHMGR, "--help"}),
                HasSubstr("Holds the nodes of the health tree"));
    Process wrong({HEALTHMGR, "--wrong"});
    EXPECT_NE(wrong.wait(), 0);
}

} // namespace
} // namespace healthintf::test
