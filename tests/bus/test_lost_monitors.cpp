// SPDX-License-Identifier: Apache-2.0
/** @file Components whose daemons end without giving them up, with a real
 *  healthmgr that reports it. */

#include "cache_view.hpp"
#include "component.hpp"
#include "managed_tree.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace healthintf::test
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class LostMonitor : public ManagedTree
{
  protected:
    LostMonitor()
    {
        setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
        unsetenv("HEALTHINTF_EVENT_PATH");
    }

    /** Starts healthmgr with the default configuration, or with another. */
    void startReporting(const std::string& config = "")
    {
        std::ofstream(configFile) << config;
        manager = std::make_unique<Process>(
            std::vector<std::string>{HEALTHMGR, "--config", configFile});
        client.waitUntil("manager", [&] {
            return managed(root);
        });
    }

    void endManager(int signal)
    {
        manager->signal(signal);
        manager->wait();
    }

    /** Asks healthmgr to dismiss the lost monitor of a component.
     *
     *  @return the error's text; empty without an error */
    std::string dismiss(const std::string& component)
    {
        try
        {
            client.call(service, "/com/vexa/olvar/healthmgr",
                        "com.vexa.olvar.healthmgr.LostMonitors", "Dismiss", "s",
                        component.c_str());
            return "";
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
    }

    /** Requests a node of the key. The requester stays on the bus. */
    void requestNode()
    {
        client.call(service, "/com/vexa/olvar/healthmgr",
                    "com.vexa.olvar.healthmgr", "AddHealthObject", "s",
                    key.c_str());
        waitUntilManaged(true);
    }

    /** A daemon that holds the key with a critical fault and a warning. */
    std::unique_ptr<Component> faultyDaemon()
    {
        auto daemon = std::make_unique<Component>(key, 2);
        daemon->add(key, "BAD", "/sensor", 1);
        daemon->add(key, "WARN", "/sensor", 2);
        client.waitForHealth(root, 4);
        return daemon;
    }

    void waitUntilManaged(bool wanted)
    {
        client.waitUntil("change of hands", [&] {
            client.catchUp();
            return managed(key) == wanted;
        });
    }

    /** A daemon whose component has a fault of its own, beside another bad one
     *  whose key begins with its key. */
    std::unique_ptr<Component> daemonBeside(Component& other)
    {
        const std::string sibling = key + "0";
        other.init(sibling, 2);
        other.add(sibling, "WARN", "/sensor", 2);
        auto daemon = std::make_unique<Component>(key, 2);
        const std::string disowned = key + " " + sibling + " 0";
        client.waitUntil("correction", [&] {
            return std::ranges::count(client.updates, disowned) > 0;
        });
        daemon->add(key, "WARN", "/sensor", 2);
        return daemon;
    }

    void waitForRecord(uint32_t health)
    {
        client.waitUntil("record", [&] {
            client.catchUp();
            return recordedHealth(key) == health;
        });
    }

    std::vector<std::string> faultTexts() const
    {
        std::vector<std::string> texts;
        for (const RecordedFault& fault : recordedFaults())
        {
            texts.push_back(fault.message);
        }
        return texts;
    }

    const std::string key = root + "/fans/fan1";
    TemporaryFolder folder;
    const std::string configFile = folder.path() / "healthmgr.toml";
};

TEST_F(LostMonitor, KeepsTheRootCriticalWhenACriticalFaultWasLost)
{
    startReporting();
    const auto daemon = faultyDaemon();
    const auto pid = std::to_string(daemon->process.pid());
    daemon->process.kill();
    waitUntilManaged(true);
    client.waitForHealth(root, 4);
    EXPECT_EQ(client.health(service, root), 4u);
    EXPECT_THAT(faultTexts(),
                ElementsAre("The process component-daemo (" + pid +
                            ") that watched this component has ended. Faults "
                            "that it held: 2; the worst: critical."));
}

TEST_F(LostMonitor, IsAWarningWithoutACriticalFault)
{
    startReporting();
    Component daemon(key, 2);
    client.waitForHealth(root, 2);
    daemon.process.kill();
    client.waitForHealth(root, 3);
    EXPECT_THAT(faultTexts(),
                ElementsAre(HasSubstr("held: 0; the worst: none")));
}

TEST_F(LostMonitor, DoesNotCountFaultsThatWereHidden)
{
    startReporting();
    Component daemon(key, 2);
    daemon.add(key, "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    sd_bus_emit_signal(client.get(), root.c_str(), service,
                       "HideFaultForSensor", "bssi", 1, "", "/sensor", 0);
    client.waitForHealth(root, 2);
    daemon.process.kill();
    client.waitForHealth(root, 3);
}

TEST_F(LostMonitor, IsNotReportedAfterACleanEnd)
{
    startReporting();
    {
        const auto daemon = faultyDaemon();
        daemon->end();
    }
    client.waitForHealth(root, 0);
    EXPECT_THAT(faultTexts(), IsEmpty());
    EXPECT_THAT(dismiss(key), HasSubstr("the component has no lost monitor"));
}

TEST_F(LostMonitor, GoesWhenADaemonHasTheComponentAgain)
{
    startReporting();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    {
        Component next(key, 2);
        waitUntilManaged(false);
        client.waitForHealth(root, 2);
        EXPECT_THAT(faultTexts(), IsEmpty());
        next.end();
    }
    client.waitForHealth(root, 0);
    EXPECT_FALSE(managed(key)) << "nobody needs it";
}

TEST_F(LostMonitor, LeavesNoHealthAtASiblingWhoseKeyItBeginsWith)
{
    startReporting();
    const auto startDaemon = [this] {
        auto daemon = std::make_unique<Component>(root + "/fan1", 2);
        daemon->init(root + "/fan10", 2);
        return daemon;
    };
    startDaemon()->process.kill();
    // healthmgr tells its own node fan1 that fan10 is no child.
    const std::string told = root + "/fan1 " + root + "/fan10 0";
    client.waitUntil("correction", [&] {
        return std::ranges::count(client.updates, told) > 0;
    });
    const auto daemon = startDaemon();
    client.waitForHealth(root, 2);
}

TEST_F(LostMonitor, LeavesNoHealthOfASiblingWhoseKeyBeginsAlike)
{
    startReporting();
    Component other;
    const auto daemon = daemonBeside(other);
    daemon->process.kill();
    waitUntilManaged(true);
    const Component next(key, 2);
    waitForRecord(2);
}

TEST_F(LostMonitor, IsNoneOfAComponentMadeAnewBesideASibling)
{
    startReporting();
    Component other;
    const auto daemon = daemonBeside(other);
    daemon->process.ask("delete " + key);
    daemon->init(key, 2);
    waitForRecord(2);
}

TEST_F(LostMonitor, LeavesNoNodesWhenADaemonOfManyComponentsEnds)
{
    startReporting();
    constexpr std::size_t number = 150;
    const auto startDaemon = [this] {
        auto daemon = std::make_unique<Component>(root + "/fan0", 2);
        for (std::size_t i = 1; i < number; ++i)
        {
            daemon->init(root + "/fan" + std::to_string(i), 2);
        }
        return daemon;
    };
    // Nodes and their faults; the root is not among them.
    const auto countObjects = [this] {
        client.catchUp();
        return client.objects(service).size();
    };
    startDaemon()->process.kill();
    client.waitUntil("lost monitors", [&] {
        return countObjects() == 2 * number;
    });
    const auto daemon = startDaemon();
    client.waitUntil("change of hands", [&] {
        return countObjects() == 0;
    });
    daemon->end();
    // The next loss is reported after what the end needs.
    Component(key, 2).process.kill();
    client.waitForHealth(key, 3);
    EXPECT_EQ(countObjects(), 3u) << "the key, the one above it, and a fault";
}

TEST_F(LostMonitor, StaysOverRestartsOfTheManager)
{
    startReporting();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    const auto texts = faultTexts();
    ASSERT_EQ(texts.size(), 1u);
    for (const int signal : {SIGTERM, SIGKILL})
    {
        endManager(signal);
        startReporting();
        waitUntilManaged(true);
        client.waitForHealth(root, 4);
        EXPECT_EQ(faultTexts(), texts);
    }
}

TEST_F(LostMonitor, IsFoundWhenTheDaemonDiedWithoutAManager)
{
    startReporting();
    const auto daemon = faultyDaemon();
    endManager(SIGTERM);
    daemon->process.kill();
    startReporting();
    client.waitForHealth(root, 4);
    EXPECT_THAT(faultTexts(), ElementsAre(HasSubstr("the worst: critical")));
}

TEST_F(LostMonitor, IsForgottenWhenADaemonCameWithoutAManager)
{
    startReporting();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    endManager(SIGKILL);
    Component next(key, 2);
    startReporting();
    client.waitForHealth(root, 2);
    next.end();
    client.waitForHealth(root, 0);
    EXPECT_THAT(faultTexts(), IsEmpty());
}

TEST_F(LostMonitor, IsDismissedByAnOperator)
{
    startReporting();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    EXPECT_EQ(dismiss(key), "");
    client.waitForHealth(root, 0);
    EXPECT_FALSE(managed(key));
    EXPECT_THAT(faultTexts(), IsEmpty());
    EXPECT_THAT(dismiss(key), HasSubstr("the component has no lost monitor"));
    endManager(SIGKILL);
    startReporting();
    EXPECT_FALSE(managed(key));
}

TEST_F(LostMonitor, LeavesTheNodeToThoseBelowWhenItIsDismissed)
{
    startReporting();
    Component below(key + "/rotor", 2);
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    EXPECT_EQ(dismiss(key), "");
    client.waitForHealth(root, 2);
    EXPECT_TRUE(managed(key));
    EXPECT_EQ(client.health(service, key), 2u);
}

TEST_F(LostMonitor, IsReportedOnANodeOfTheManagerThatItHadLent)
{
    startReporting();
    Component below(key + "/rotor", 2);
    client.waitForHealth(root, 2);
    ASSERT_TRUE(managed(key));
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    client.waitForHealth(root, 4);
    EXPECT_THAT(faultTexts(), ElementsAre(HasSubstr("the worst: critical")));
}

TEST_F(LostMonitor, ReportsTheLastOfSeveralThatWereLost)
{
    startReporting();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    Component next(key, 2);
    const auto pid = std::to_string(next.process.pid());
    waitUntilManaged(false);
    next.process.kill();
    waitUntilManaged(true);
    client.waitForHealth(root, 3);
    EXPECT_THAT(faultTexts(), ElementsAre(HasSubstr("(" + pid + ")")));
}

TEST_F(LostMonitor, LeavesARequestedNodeToItsRequester)
{
    startReporting();
    requestNode();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    const auto daemon = faultyDaemon();
    waitUntilManaged(false);
    daemon->end();
    client.waitForHealth(root, 0);
    waitUntilManaged(true);
    EXPECT_EQ(client.health(service, key), 0u);
}

TEST_F(LostMonitor, LeavesARequestedNodeToItsRequesterWhenItIsDismissed)
{
    startReporting();
    requestNode();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    EXPECT_EQ(dismiss(key), "");
    client.waitForHealth(root, 0);
    EXPECT_TRUE(managed(key));
    EXPECT_THAT(faultTexts(), IsEmpty());
}

TEST_F(LostMonitor, IsHiddenWithItsComponent)
{
    startReporting();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    client.waitForHealth(root, 4);
    sd_bus_emit_signal(client.get(), root.c_str(), service,
                       "HideFaultForSensor", "bssi", 1, key.c_str(), "", 0);
    client.waitForHealth(root, 0);
}

TEST_F(LostMonitor, IsIgnoredWhereTheConfigurationSaysSo)
{
    startReporting("report-lost-monitors = false");
    faultyDaemon()->process.kill();
    client.waitForHealth(root, 0);
    EXPECT_THAT(faultTexts(), IsEmpty());
}

TEST_F(LostMonitor, IsReportedOnlyForTheComponentsThatAreNamed)
{
    startReporting("lost-monitor-components = [\"" + root + "/fans\"]");
    Component other(root + "/other", 2);
    other.process.kill();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    EXPECT_THAT(faultTexts(), ElementsAre(HasSubstr("the worst: critical")));
    EXPECT_FALSE(managed(root + "/other"));
}

TEST_F(LostMonitor, IsReportedWithoutARegistry)
{
    setenv("HEALTHINTF_REGISTRY_PATH", folder.path().c_str(), 1);
    startReporting();
    faultyDaemon()->process.kill();
    waitUntilManaged(true);
    client.waitForHealth(root, 4);
    EXPECT_THAT(faultTexts(),
                ElementsAre(HasSubstr("ended without giving this component")));
}

} // namespace
} // namespace healthintf::test
