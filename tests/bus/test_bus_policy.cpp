/** @file Who may do what with the health tree, by the policy that the project
 *  installs, under the rules of a system bus, which allows nothing by
 *  itself. */

#include "bus_client.hpp"
#include "component.hpp"
#include "installed_policy.hpp"
#include "private_bus.hpp"
#include "process.hpp"
#include "temporary_folder.hpp"

#include <platform/config_manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
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
const Words tellCritical{"emit", "/mine", nodeInterface, "HealthStatusUpdate",
                         "ssu",  root,    "/mine",       "4"};

/** A health manager and a component on a bus with the installed policy. */
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
    Process healthmgr{{HEALTHMGR}};
    Component leaf{leafKey, 2};
};

/** The same with other users. */
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

/** Expects that the bus keeps a user from something. */
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

TEST_F(BusPolicy, LetsHealthClimbAndTheTreeBeRead)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    EXPECT_EQ(client.objects(manager).count(rack), 1U);
    EXPECT_EQ(client.objects(leaf.name()).size(), 2U);
}

TEST_F(BusPolicyOfOthers, LetsEverybodyReadWhatADaemonHolds)
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

TEST_F(BusPolicyOfOthers, LetsEverybodyLookAroundInTheHealthManager)
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

TEST_F(BusPolicyOfOthers, LetsRootAloneLookAroundInADaemon)
{
    EXPECT_THAT(outputOf({"busctl", "--system", "tree", "--list", leaf.name()}),
                HasSubstr(leafKey + "\n"));
    EXPECT_EQ(client.health(leaf.name(), leafKey), 2U);
    EXPECT_THAT(outputOf({"busctl", "--system", "call", leaf.name(), leafKey,
                          properties, "GetAll", "s", nodeInterface}),
                HasSubstr("\"HealthStatus\" u 2"));
    for (const Caller caller : {Caller::stranger, Caller::member})
    {
        expectDenied(caller, {"get-property", leaf.name(), leafKey,
                              nodeInterface, "HealthStatus"});
    }
}

TEST_F(BusPolicyOfOthers, KeepsStrangersFromAskingForNodesAndFromSetting)
{
    expectDenied(Caller::stranger, {"call", manager, root, manager,
                                    "AddHealthObject", "s", root + "/mine"});
    for (const std::string& path : {root, rack})
    {
        expectDenied(Caller::stranger,
                     {"set-property", manager, path, nodeInterface,
                      "HealthStatus", "u", "0"});
    }
}

TEST_F(BusPolicyOfOthers, KeepsStrangersFromTellingHealth)
{
    busctlAs(Caller::stranger, tellCritical);
    client.catchUp();
    EXPECT_EQ(client.health(manager, root), 2U);
}

TEST_F(BusPolicyOfOthers, KeepsStrangersFromHidingFaults)
{
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    busctlAs(Caller::stranger, hideLeaf);
    Words toOne = hideLeaf;
    toOne.insert(toOne.begin() + 1, "--destination=" + leaf.name());
    busctlAs(Caller::stranger, toOne);
    // It answers after what it was sent before.
    EXPECT_EQ(client.health(leaf.name(), leafKey), 4U);
}

TEST_F(BusPolicyOfOthers, LetsMembersAskForNodesTellHealthAndHideFaults)
{
    busctlAs(Caller::member, {"call", manager, "/com/vexa/olvar/healthmgr",
                              manager, "AddHealthObject", "s", root + "/mine"});
    EXPECT_EQ(client.objects(manager).count(root + "/mine"), 1U);
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    busctlAs(Caller::member, hideLeaf);
    client.waitForHealth(root, 2);
    busctlAs(Caller::member, tellCritical);
    client.waitForHealth(root, 4);
}

TEST_F(BusPolicyOfOthers, GivesTheNameToTheServicesUserAlone)
{
    healthmgr.kill();
    for (const Caller caller : {Caller::stranger, Caller::member})
    {
        EXPECT_THAT(
            [&] {
                requestNameAs(caller, manager);
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")));
    }
    EXPECT_EQ(requestNameAs(Caller::service, manager), "u 1\n");
}

TEST_F(BusPolicyOfOthers, LetsTheServicesUserAskWhetherADaemonIsThrough)
{
    const Words ping{"call", leaf.name(), "/", "org.freedesktop.DBus.Peer",
                     "Ping"};
    EXPECT_NO_THROW(busctlAs(Caller::service, ping));
    expectDenied(Caller::stranger, ping);
    expectDenied(Caller::member, ping);
}

/** Hears the signals of others. */
class SignalPolicy : public BusPolicyOfOthers
{
  protected:
    /** Takes down the first argument of each signal of an interface. */
    void listen(const std::string& interface)
    {
        const auto take = [](sd_bus_message* message, void* context,
                             sd_bus_error*) {
            const char* text = nullptr;
            sd_bus_message_read(message, "s", &text);
            static_cast<Words*>(context)->emplace_back(text);
            return 0;
        };
        ASSERT_GE(sd_bus_match_signal(client.get(), nullptr, nullptr, nullptr,
                                      interface.c_str(), nullptr, take, &heard),
                  0);
    }

    /** The receiver of a signal to this client alone. */
    std::string toClient() const
    {
        const char* unique = nullptr;
        sd_bus_get_unique_name(client.get(), &unique);
        return "--destination=" + std::string(unique);
    }

    Words heard;
};

TEST_F(SignalPolicy, LetsRootAndMembersAloneSendNotifications)
{
    const std::string path = "/com/vexa/olvar/notification";
    const std::string interface = "com.vexa.olvar.Notification";
    listen(interface);
    busctlAs(Caller::stranger,
             {"emit", path, interface, "Notified", "say", "forged", "0"});
    busctlAs(Caller::stranger, {"emit", toClient(), path, interface, "Notified",
                                "say", "forged", "0"});
    busctlAs(Caller::member,
             {"emit", path, interface, "Notified", "say", "a member's", "0"});
    EXPECT_EQ(CfgSetAttributeInt("a", 1, 0, nullptr), 0);
    client.catchUp();
    EXPECT_EQ(heard, (Words{"a member's", "CfgMgr/1/AttributeChange/a"}));
}

TEST_F(SignalPolicy, LetsMembersSetAttributes)
{
    listen("com.vexa.olvar.Notification");
    const TemporaryFolder state;
    std::filesystem::permissions(state.path(), std::filesystem::perms::all);
    Process member(as(Caller::member, {NOTIFICATION_CLIENT, "own-loop", "any"}),
                   {"HEALTHINTF_STATE_DIR=" + state.path().string()});
    EXPECT_EQ(member.ask("set a 1"), "0");
    client.catchUp();
    EXPECT_EQ(heard, Words{"CfgMgr/1/AttributeChange/a"});
}

TEST_F(SignalPolicy, LetsRootAndMembersAloneAnnounceFaults)
{
    const std::string interface = std::string(manager) + ".FaultEntry";
    listen(interface);
    const auto emitAs = [&](Caller caller, const std::string& name) {
        busctlAs(caller,
                 {"emit", leafKey + "/entry/Fault_1", interface,
                  "FaultEntryRemoved", "sssuu", name, "", "", "0", "0"});
    };
    emitAs(Caller::stranger, "forged");
    emitAs(Caller::member, "a member's");
    leaf.add(leafKey, "fault", "/sensor", 1);
    client.waitForHealth(root, 4);
    ASSERT_EQ(heard.size(), 2U);
    EXPECT_EQ(heard[0], "a member's");
}

TEST_F(SignalPolicy, LetsRootAndMembersAloneSpeakFromTheRoot)
{
    const std::string interface = "com.example.Any";
    listen(interface);
    busctlAs(Caller::stranger, {"emit", root, interface, "Any", "s", "forged"});
    busctlAs(Caller::member,
             {"emit", root, interface, "Any", "s", "a member's"});
    // What does not come from there is nothing of ours.
    busctlAs(Caller::stranger, {"emit", "/else", interface, "Any", "s", "any"});
    client.catchUp();
    EXPECT_EQ(heard, (Words{"a member's", "any"}));
}

TEST(BusLimits, LetADaemonHoldMoreThanAUsualBusDoes)
{
    const PrivateBus bus(systemRules + installedRules(manager) +
                         installedRules("healthintf-limits"));
    Component daemon(root, 2);
    constexpr int most = 4096 / 3;
    int made = 1;
    while (daemon.init(root + "/c" + std::to_string(made), 2) != "null")
    {
        ASSERT_LT(++made, 2 * most);
    }
    EXPECT_EQ(made, most);
}

} // namespace
} // namespace healthintf::test
