/** @file The policy that the project installs, under the rules of a system
 *  bus, which allows nothing by itself. */

#include "bus_client.hpp"
#include "component.hpp"
#include "file_content.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>

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

/** What a system bus says before it includes anything. */
const std::string systemRules =
    "<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/>"
    "<deny send_type=\"method_call\"/><allow send_type=\"signal\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
    "<allow receive_type=\"method_call\"/>"
    "<allow receive_type=\"method_return\"/><allow receive_type=\"error\"/>"
    "<allow receive_type=\"signal\"/>"
    "<allow send_destination=\"org.freedesktop.DBus\"/></policy>";

/** The installed policy as part of a configuration, with whoever runs the
 *  test in the place of root. */
std::string installedRules()
{
    const std::string file = contentOf(BUS_POLICY);
    const std::string open = "<busconfig>";
    const std::size_t start = file.find(open) + open.size();
    std::string rules = file.substr(start, file.rfind("</") - start);
    const std::string rootRules = "user=\"root\"";
    rules.replace(rules.find(rootRules), rootRules.size(),
                  "user=\"" + std::to_string(getuid()) + "\"");
    return rules;
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
    std::filesystem::permissions(bus.folder().path(),
                                 std::filesystem::perms::others_exec,
                                 std::filesystem::perm_options::add);
    const auto asNobody = [](std::vector<std::string> command) {
        command.insert(command.begin(),
                       {"setpriv", "--reuid=65534", "--regid=65534",
                        "--clear-groups", "busctl", "--system"});
        return outputOf(command);
    };
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

} // namespace
} // namespace healthintf::test
