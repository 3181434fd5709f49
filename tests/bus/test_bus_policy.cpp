/** @file The policy that the project installs, under the rules of a system
 *  bus, which allows nothing by itself. */

#include "bus_client.hpp"
#include "bus_rules.hpp"
#include "component.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <platform/config_manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::ThrowsMessage;

const std::string root = "/com/vexa/olvar/health";
const std::string rack = root + "/rack";
const std::string leafKey = rack + "/leaf";
constexpr const char* manager = "com.vexa.olvar.healthmgr";

/** Runs busctl as a user without rights. */
std::string asNobody(std::vector<std::string> command)
{
    command.insert(command.begin(),
                   {"setpriv", "--reuid=65534", "--regid=65534",
                    "--clear-groups", "busctl", "--system"});
    return outputOf(command);
}

/** A health manager and a component on a bus with the installed policy. */
class BusPolicy : public testing::Test
{
  protected:
    void SetUp() override
    {
        client.waitForHealth(leafKey, 2);
        client.waitForHealth(root, 2);
    }

    PrivateBus bus{systemRules + installedRules()};
    BusClient client;
    Process healthmgr{{HEALTHMGR}};
    Component leaf{leafKey, 2};
};

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

TEST_F(BusPolicy, KeepsOtherUsersFromChangingTheHealth)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to become another user";
    }
    letOthersIn(bus);
    EXPECT_THAT(
        asNobody({"call", manager, root, "org.freedesktop.DBus.ObjectManager",
                  "GetManagedObjects"}),
        HasSubstr("HealthStatus"));
    EXPECT_THAT(
        [&] {
            asNobody({"call", manager, root, manager, "AddHealthObject", "s",
                      "/com/vexa/olvar/health/mine"});
        },
        ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")));
    asNobody({"emit", "/mine", "com.vexa.olvar.healthmgr.HealthStatus",
              "HealthStatusUpdate", "ssu", root, "/mine", "4"});
    client.catchUp();
    EXPECT_EQ(client.health(manager, root), 2U);
}

TEST_F(BusPolicy, LetsRootAloneSendNotifications)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to become another user";
    }
    letOthersIn(bus);
    std::vector<std::string> heard;
    const auto take = [](sd_bus_message* message, void* context,
                         sd_bus_error*) {
        const char* name = nullptr;
        sd_bus_message_read(message, "s", &name);
        static_cast<std::vector<std::string>*>(context)->emplace_back(name);
        return 0;
    };
    ASSERT_GE(sd_bus_match_signal(client.get(), nullptr, nullptr, nullptr,
                                  "com.vexa.olvar.Notification", nullptr, take,
                                  &heard),
              0);
    const char* unique = nullptr;
    sd_bus_get_unique_name(client.get(), &unique);
    const std::string path = "/com/vexa/olvar/notification";
    const std::string interface = "com.vexa.olvar.Notification";
    asNobody({"emit", path, interface, "Notified", "say", "forged", "0"});
    asNobody({"emit", "--destination=" + std::string(unique), path, interface,
              "Notified", "say", "forged", "0"});
    EXPECT_EQ(CfgSetAttributeInt("a", 1, 0, nullptr), 0);
    client.catchUp();
    EXPECT_EQ(heard, std::vector<std::string>{"CfgMgr/1/AttributeChange/a"});
}

/** A log manager on a bus with the installed policy. */
class LogPolicy : public testing::Test
{
  protected:
    void SetUp() override
    {
        client.waitUntilReady();
    }

    PrivateBus bus{systemRules + installedRules(logService)};
    LogClient client;
    Process logmgr{{LOGMGR}};
};

TEST(BusWithoutAPolicy, RefusesTheLogManager)
{
    const PrivateBus bus(systemRules);
    Process logmgr({LOGMGR});
    EXPECT_NE(logmgr.wait(), 0);
    EXPECT_THAT(logmgr.errors(), HasSubstr("Permission denied"));
}

TEST_F(LogPolicy, LetsRootAddClearAndHear)
{
    EXPECT_EQ(client.add(recordOf(7)), 1U);
    EXPECT_EQ(client.entry(1).record[11], 7);
    EXPECT_EQ(client.clear(), 1U);
    client.catchUp();
    EXPECT_EQ(client.heard.size(), 2U);
}

TEST_F(LogPolicy, LetsOthersReadAndNothingElse)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to become another user";
    }
    letOthersIn(bus);
    client.add(recordOf(7));
    const auto call = [](const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"call", logService, logPath,
                                         logInterface};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return asNobody(command);
    };
    EXPECT_THAT(call({"GetEntry", "q", "1"}), HasSubstr("Fan 7"));
    EXPECT_THAT(call({"ListEntries", "qu", "0", "0"}), HasSubstr("Fan 7"));
    EXPECT_THAT(asNobody({"get-property", logService, logPath, logInterface,
                          "Entries"}),
                HasSubstr("u 1"));
    for (const std::vector<std::string>& wanted :
         {std::vector<std::string>{"Clear"},
          {"AddSEL", "(ssyy)ay", "", "", "0", "0", "0"},
          {"AddSELWithTimestamp", "(ssyy)ayu", "", "", "0", "0", "0", "0"}})
    {
        EXPECT_THAT(
            [&] {
                call(wanted);
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")))
            << wanted[0];
    }
    EXPECT_EQ(client.property("Entries"), "1");
}

TEST_F(LogPolicy, LetsRootAloneSendItsSignals)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to become another user";
    }
    letOthersIn(bus);
    asNobody({"emit", logPath, logInterface, "ClearedSelEntries"});
    asNobody({"emit", logPath, logInterface, "SignalSELEvent", "ay", "0"});
    client.add(recordOf(7));
    client.catchUp();
    EXPECT_THAT(
        client.heard,
        testing::ElementsAre("SignalSELEvent " + std::string(logPath) + "/7"));
}

} // namespace
} // namespace healthintf::test
