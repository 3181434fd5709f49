// SPDX-License-Identifier: Apache-2.0
/** @file Who may do what with the health tree under the installed policy, on a
 *  system bus, which by itself allows nothing. */

#include "bus_client.hpp"
#include "component.hpp"
#include "installed_policy.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;
using Words = std::vector<std::string>;

const std::string root = "/com/vexa/olvar/health";
const std::string rack = root + "/rack";
const std::string leafKey = rack + "/leaf";
constexpr const char* manager = "com.vexa.olvar.healthmgr";
const std::string nodeInterface = std::string(manager) + ".HealthStatus";
const std::string properties = "org.freedesktop.DBus.Properties";

const Words hideLeaf{"emit", root,   manager, "HideFaultForSensor",
                     "bssi", "true", "",      "/sensor",
                     "0"};
const Words setAttribute{"call",
                         manager,
                         "/com/vexa/olvar/healthmgr",
                         std::string(manager) + ".Attributes",
                         "Set",
                         "sis",
                         "any",
                         "1",
                         "busctl"};
const Words dismissLeaf{"call",
                        manager,
                        "/com/vexa/olvar/healthmgr",
                        std::string(manager) + ".LostMonitors",
                        "Dismiss",
                        "s",
                        leafKey};
const std::string silencesInterface = std::string(manager) + ".Silences";
const Words silenceLeaf{"call",
                        manager,
                        "/com/vexa/olvar/healthmgr",
                        silencesInterface,
                        "Add",
                        "a{sv}",
                        "3",
                        "SensorPath",
                        "s",
                        "/sensor",
                        "Seconds",
                        "u",
                        "600",
                        "Comment",
                        "s",
                        "why"};
const Words endSilence{
    "call", manager, "/com/vexa/olvar/healthmgr", silencesInterface, "End",
    "t",    "1"};
const Words listSilences{"call", manager, "/com/vexa/olvar/healthmgr",
                         silencesInterface, "List"};
const Words raiseFault{"call",
                       manager,
                       "/com/vexa/olvar/healthmgr",
                       std::string(manager) + ".RaisedFaults",
                       "Raise",
                       "ssassuub",
                       root + "/raised",
                       "HostMonitor.1.0.ProcessMissing",
                       "3",
                       "pumpd",
                       "0",
                       "1",
                       "",
                       "0",
                       "0",
                       "true"};
const Words clearFaults{"call",
                        manager,
                        "/com/vexa/olvar/healthmgr",
                        std::string(manager) + ".RaisedFaults",
                        "Clear",
                        "ss",
                        "",
                        ""};
const Words tellCritical{"emit", "/mine", nodeInterface,  "HealthStatusUpdate",
                         "ssu",  root,    root + "/mine", "4"};

/** The same in the format of BusClient::updates. */
const std::string criticalUpdate = root + " " + root + "/mine 4";

/** healthmgr and a component on a bus with the installed policy. */
class BusPolicy : public testing::Test
{
  protected:
    void SetUp() override
    {
        client.waitForHealth(leafKey, 2);
        client.waitForHealth(root, 2);
    }

    PrivateBus bus{systemRules + installedRules(manager)};
    BusClient client;
    Process healthmgr{{HEALTHMGR},
                      {"HEALTHINTF_REGISTRY_PATH=" SHIPPED_REGISTRIES}};
    Component leaf{leafKey, 2};
};

/** The same bus with other users. */
class BusPolicyOfOthers : public BusPolicy
{
  protected:
    void SetUp() override
    {
        if (geteuid() != 0)
        {
            GTEST_SKIP() << "needs root, to become another user";
        }
        letOthersIn(bus);
        BusPolicy::SetUp();
    }
};

/** Expects that the bus denies a command to a user. */
void expectDenied(Caller caller, const Words& command)
{
    EXPECT_THAT(
        [&] {
            busctlAs(caller, command);
        },
        ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")))
        << testing::PrintToString(command);
}

TEST(BusWithoutAPolicy, RefusesTheHealthManager)
{
    const PrivateBus bus(systemRules);
    Process healthmgr({HEALTHMGR});
    EXPECT_NE(healthmgr.wait(), 0);
    EXPECT_THAT(healthmgr.errors(), HasSubstr("Permission denied"));
}

TEST_F(BusPolicy, LetsHealthReachTheRootAndTheTreeBeRead)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    EXPECT_EQ(client.objects(manager).count(rack), 1U);
    EXPECT_EQ(client.objects(leaf.name()).size(), 2U);
}

TEST_F(BusPolicyOfOthers, LetsEverybodyReadTheTreeFromItsOwners)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    for (const std::string& owner : {std::string(manager), leaf.name()})
    {
        EXPECT_THAT(
            busctlAs(Caller::stranger,
                     {"call", owner, root, "org.freedesktop.DBus.ObjectManager",
                      "GetManagedObjects"}),
            HasSubstr("HealthStatus"));
    }
    client.waitForHealth(root, 4);
    EXPECT_EQ(busctlAs(Caller::stranger, {"get-property", manager, root,
                                          nodeInterface, "HealthStatus"}),
              "u 4\n");
    EXPECT_THAT(busctlAs(Caller::stranger, {"call", manager, root, properties,
                                            "GetAll", "s", nodeInterface}),
                HasSubstr("\"HealthStatus\" u 4"));
}

TEST_F(BusPolicyOfOthers, LetsEverybodyReadAndIntrospectTheHealthManager)
{
    EXPECT_THAT(busctlAs(Caller::stranger, {"tree", "--list", manager}),
                HasSubstr(rack + "\n"));
    EXPECT_EQ(busctlAs(Caller::stranger, {"get-property", manager, rack,
                                          nodeInterface, "HealthStatus"}),
              "u 2\n");
    EXPECT_THAT(busctlAs(Caller::stranger, {"call", manager, rack, properties,
                                            "GetAll", "s", nodeInterface}),
                HasSubstr("\"HealthStatus\" u 2"));
    EXPECT_NO_THROW(
        busctlAs(Caller::stranger,
                 {"call", manager, root, "org.freedesktop.DBus.Peer", "Ping"}));
}

TEST_F(BusPolicyOfOthers, LetsOnlyRootReadAndIntrospectADaemon)
{
    EXPECT_THAT(
        readOutput({"busctl", "--system", "tree", "--list", leaf.name()}),
        HasSubstr(leafKey + "\n"));
    EXPECT_EQ(client.health(leaf.name(), leafKey), 2U);
    EXPECT_THAT(readOutput({"busctl", "--system", "call", leaf.name(), leafKey,
                            properties, "GetAll", "s", nodeInterface}),
                HasSubstr("\"HealthStatus\" u 2"));
    for (const Caller caller :
         {Caller::stranger, Caller::reporter, Caller::operatorUser})
    {
        expectDenied(caller, {"get-property", leaf.name(), leafKey,
                              nodeInterface, "HealthStatus"});
    }
}

TEST_F(BusPolicyOfOthers, KeepsAllButReportersFromAskingForNodes)
{
    for (const Caller caller :
         {Caller::stranger, Caller::operatorUser, Caller::logmgr})
    {
        expectDenied(caller, {"call", manager, root, manager, "AddHealthObject",
                              "s", root + "/mine"});
    }
}

TEST_F(BusPolicyOfOthers, KeepsEverybodyFromSettingHealth)
{
    for (const Caller caller :
         {Caller::stranger, Caller::reporter, Caller::operatorUser})
    {
        for (const std::string& path : {root, rack})
        {
            expectDenied(caller, {"set-property", manager, path, nodeInterface,
                                  "HealthStatus", "u", "0"});
        }
    }
}

TEST_F(BusPolicyOfOthers, KeepsAllButReportersFromReportingHealth)
{
    for (const Caller caller : {Caller::stranger, Caller::operatorUser})
    {
        busctlAs(caller, tellCritical);
    }
    client.catchUp();
    EXPECT_THAT(client.updates,
                testing::Not(testing::Contains(criticalUpdate)));
}

TEST_F(BusPolicyOfOthers, KeepsAllButOperatorsFromHidingFaults)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    for (const Caller caller : {Caller::stranger, Caller::reporter})
    {
        busctlAs(caller, hideLeaf);
        Words toOne = hideLeaf;
        toOne.insert(toOne.begin() + 1, "--destination=" + leaf.name());
        busctlAs(caller, toOne);
    }
    // The component replies after it has processed earlier messages.
    EXPECT_EQ(client.health(leaf.name(), leafKey), 4U);
}

TEST_F(BusPolicyOfOthers, KeepsAllButOperatorsFromSettingAttributes)
{
    for (const Caller caller :
         {Caller::stranger, Caller::reporter, Caller::logmgr})
    {
        expectDenied(caller, setAttribute);
    }
    // What healthmgr replies does not matter here.
    std::string refusal;
    try
    {
        busctlAs(Caller::operatorUser, setAttribute);
    }
    catch (const std::runtime_error& error)
    {
        refusal = error.what();
    }
    EXPECT_THAT(refusal, Not(HasSubstr("Access denied")));
}

TEST_F(BusPolicyOfOthers, LetsOnlyOperatorsDismissLostMonitors)
{
    leaf.process.kill();
    client.waitForHealth(root, 3);
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::healthmgr, Caller::logmgr})
    {
        expectDenied(caller, dismissLeaf);
    }
    EXPECT_EQ(client.health(manager, leafKey), 3U);
    busctlAs(Caller::operatorUser, dismissLeaf);
    client.waitForHealth(root, 0);
}

TEST_F(BusPolicyOfOthers, LetsOnlyOperatorsSilenceAndEverybodyList)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::healthmgr, Caller::logmgr})
    {
        expectDenied(caller, silenceLeaf);
        EXPECT_EQ(busctlAs(caller, listSilences), "aa{sv} 0\n");
    }
    busctlAs(Caller::operatorUser, silenceLeaf);
    client.waitForHealth(root, 2);
    expectDenied(Caller::reporter, endSilence);
    EXPECT_THAT(busctlAs(Caller::stranger, listSilences),
                HasSubstr("\"Comment\" s \"why\""));
    busctlAs(Caller::operatorUser, endSilence);
    client.waitForHealth(root, 4);
}

TEST_F(BusPolicyOfOthers, LetsOnlyOperatorsAcknowledgeAndEverybodyList)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    std::string entry;
    for (const auto& [path, interfaces] : client.objects(leaf.name()))
    {
        entry = path.find("/entry/") == std::string::npos ? entry : path;
    }
    const Words object{"call", manager, "/com/vexa/olvar/healthmgr",
                       std::string(manager) + ".Acknowledgements"};
    const auto with = [&object](const Words& more) {
        Words words = object;
        words.insert(words.end(), more.begin(), more.end());
        return words;
    };
    const Words acknowledge = with({"Acknowledge", "ss", entry, "why"});
    const Words withdraw = with({"Withdraw", "s", entry});
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::healthmgr, Caller::logmgr})
    {
        expectDenied(caller, acknowledge);
        EXPECT_EQ(busctlAs(caller, with({"List"})), "aa{sv} 0\n");
    }
    busctlAs(Caller::operatorUser, acknowledge);
    expectDenied(Caller::reporter, withdraw);
    EXPECT_THAT(busctlAs(Caller::stranger, with({"List"})),
                HasSubstr("\"Comment\" s \"why\""));
    busctlAs(Caller::operatorUser, withdraw);
    EXPECT_EQ(busctlAs(Caller::stranger, with({"List"})), "aa{sv} 0\n");
}

TEST_F(BusPolicyOfOthers, LetsTheHealthManagersUserAloneAnnounceSilences)
{
    std::size_t heard = 0;
    const std::string rule =
        "type='signal',interface='" + silencesInterface + "'";
    sd_bus_add_match(
        client.get(), nullptr, rule.c_str(),
        [](sd_bus_message*, void* count, sd_bus_error*) {
            ++*static_cast<std::size_t*>(count);
            return 0;
        },
        &heard);
    const Words announce{"emit",
                         "/com/vexa/olvar/healthmgr",
                         silencesInterface,
                         "SilenceEnded",
                         "a{sv}",
                         "0"};
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::operatorUser, Caller::logmgr})
    {
        busctlAs(caller, announce);
    }
    client.catchUp();
    EXPECT_EQ(heard, 0U);
    busctlAs(Caller::healthmgr, announce);
    client.waitUntil("signal", [&heard] {
        return heard == 1;
    });
}

TEST_F(BusPolicyOfOthers, LetsTheHealthManagersUserHideFaults)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    busctlAs(Caller::healthmgr, hideLeaf);
    client.waitForHealth(root, 2);
}

TEST_F(BusPolicyOfOthers, LetsOnlyOperatorsRaiseAndClearFaults)
{
    const std::string raised = root + "/raised";
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::healthmgr, Caller::logmgr})
    {
        expectDenied(caller, raiseFault);
        expectDenied(caller, clearFaults);
    }
    EXPECT_FALSE(client.hasNode(manager, raised));
    busctlAs(Caller::operatorUser, raiseFault);
    EXPECT_EQ(client.health(manager, raised), 3U);
    busctlAs(Caller::operatorUser, clearFaults);
    EXPECT_FALSE(client.hasNode(manager, raised));
}

TEST_F(BusPolicyOfOthers, LetsReportersAskForNodesAndReportHealth)
{
    busctlAs(Caller::reporter,
             {"call", manager, "/com/vexa/olvar/healthmgr", manager,
              "AddHealthObject", "s", root + "/mine"});
    EXPECT_EQ(client.objects(manager).count(root + "/mine"), 1U);
    busctlAs(Caller::reporter, tellCritical);
    client.waitUntil("update", [this] {
        return std::ranges::count(client.updates, criticalUpdate) == 1;
    });
}

TEST_F(BusPolicyOfOthers, LetsOperatorsHideFaults)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    busctlAs(Caller::operatorUser, hideLeaf);
    client.waitForHealth(root, 2);
}

TEST_F(BusPolicyOfOthers, GivesBothRightsToAMemberOfBothGroups)
{
    const auto inBoth = [](const Words& command) {
        Words whole{"setpriv",
                    "--reuid=nobody",
                    "--regid=nogroup",
                    "--groups=" + reportersGroup + "," + operatorsGroup,
                    "busctl",
                    "--system"};
        whole.insert(whole.end(), command.begin(), command.end());
        readOutput(whole);
    };
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    inBoth(hideLeaf);
    client.waitForHealth(root, 2);
    inBoth(tellCritical);
    client.waitUntil("update", [this] {
        return std::ranges::count(client.updates, criticalUpdate) == 1;
    });
}

TEST_F(BusPolicyOfOthers, GivesTheNameOnlyToTheHealthManagersUser)
{
    healthmgr.kill();
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::operatorUser, Caller::logmgr})
    {
        EXPECT_THAT(
            [&] {
                requestNameAs(caller, manager);
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")));
    }
    EXPECT_EQ(requestNameAs(Caller::healthmgr, manager), "u 1\n");
}

TEST_F(BusPolicyOfOthers, LetsTheHealthManagerPingADaemon)
{
    const Words ping{"call", leaf.name(), "/", "org.freedesktop.DBus.Peer",
                     "Ping"};
    EXPECT_NO_THROW(busctlAs(Caller::healthmgr, ping));
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::operatorUser, Caller::logmgr})
    {
        expectDenied(caller, ping);
    }
}

/** Requests a node as another user.
 *
 *  @return the error of the reply; empty on success */
std::string requestAs(Caller caller, const std::string& key)
{
    try
    {
        busctlAs(caller, {"call", manager, "/com/vexa/olvar/healthmgr", manager,
                          "AddHealthObject", "s", key});
    }
    catch (const std::runtime_error& e)
    {
        return e.what();
    }
    return "";
}

TEST(BusLimits, LetAUserAskForAQuarterOfTheNodes)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to become another user";
    }
    const PrivateBus bus(systemRules + installedRules(manager) +
                         installedRules("healthintf-limits"));
    letOthersIn(bus);
    BusClient client;
    const Process healthmgr({HEALTHMGR});
    client.waitUntil("manager", [&] {
        client.catchUp();
        return !client.findOwner(manager).empty();
    });
    const auto deep = [](const std::string& name, int levels) {
        std::string key = root;
        for (int i = 0; i < levels; ++i)
        {
            key += "/" + name;
        }
        return key;
    };
    // Ten requests for 32 nodes and one for 20: ancestors count.
    for (int i = 0; i < 10; ++i)
    {
        const std::string name = "n" + std::to_string(i);
        ASSERT_EQ(requestAs(Caller::reporter, deep(name, 32)), "");
    }
    EXPECT_THAT(requestAs(Caller::reporter, deep("a", 21)),
                HasSubstr("has asked for as many nodes as one user may"));
    EXPECT_EQ(requestAs(Caller::reporter, deep("a", 20)), "");
    EXPECT_EQ(client.objects(manager).size(), 340U);
    EXPECT_THAT(requestAs(Caller::reporter, root + "/b"),
                HasSubstr("has asked for as many nodes as one user may"));
    EXPECT_EQ(requestAs(Caller::reporter, deep("a", 3)), "") << "it is there";

    // Other users' requests and the tree itself still get nodes.
    EXPECT_EQ(requestAs(Caller::healthmgr, root + "/c"), "");
    Component leaf(root + "/d/e", 3);
    client.waitForHealth(root, 3);
    EXPECT_EQ(client.health(manager, root + "/d"), 3U);
}

TEST(BusLimits, LetADaemonHoldMoreComponentsThanTheUsualLimit)
{
    // dbus-broker limits the rules of a user instead. With one connection for
    // each user the limit is the same.
    const std::string oneConnection =
        busKind() == BusKind::broker
            ? "<limit name=\"max_connections_per_user\">1</limit>"
            : "";
    const PrivateBus bus(systemRules + installedRules(manager) +
                         installedRules("healthintf-limits") + oneConnection);
    Component daemon(root, 2);
    // As in test_match_limit.cpp, but without a client.
    const int most = busKind() == BusKind::broker ? 4096 - 3 - 1 : 4096 / 3;
    int made = 1;
    while (daemon.init(root + "/c" + std::to_string(made), 2) != "null")
    {
        ASSERT_LT(++made, 2 * most);
    }
    EXPECT_EQ(made, most);
}

} // namespace
} // namespace healthintf::test
