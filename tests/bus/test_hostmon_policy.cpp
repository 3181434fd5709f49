// SPDX-License-Identifier: Apache-2.0
/** @file Which users may report on the machine under the installed policy. */

#include "bus_client.hpp"
#include "installed_policy.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
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
const std::string memoryKey = root + "/host/memory";
constexpr const char* manager = "com.vexa.olvar.healthmgr";
constexpr const char* monitor = "com.vexa.olvar.hostmon";

/** The command that runs hostmon on a machine with little free memory. */
Words hostmonOn(const TemporaryFolder& machine)
{
    machine.write("proc/meminfo", "MemTotal: 100 kB\nMemAvailable: 15 kB\n");
    const std::string config = machine.write(
        "hostmon.toml", "[[memory]]\nwarning = 20\ncritical = 10\n");
    std::filesystem::permissions(machine.path(),
                                 std::filesystem::perms::others_exec,
                                 std::filesystem::perm_options::add);
    return {HOSTMON, "--config", config, "--root", machine.path()};
}

/** hostmon's error begins with this when the bus refuses its name. */
const std::string refusal = "hostmon: unable to report on " + memoryKey + ": ";

TEST(BusWithoutAPolicy, RefusesTheHostMonitor)
{
    const PrivateBus bus(systemRules + installedRules(manager));
    const TemporaryFolder machine;
    Process hostmon(hostmonOn(machine));
    EXPECT_EQ(hostmon.wait(), 1);
    EXPECT_THAT(hostmon.errors(), HasSubstr(refusal));
    EXPECT_THAT(hostmon.errors(), HasSubstr("Permission denied"));
}

/** healthmgr on a bus with the installed policies. */
class HostMonitorPolicy : public testing::Test
{
  protected:
    HostMonitorPolicy()
    {
        setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
    }

    TemporaryFolder machine;
    PrivateBus bus{systemRules + installedRules(manager) +
                   installedRules(monitor)};
    BusClient client;
};

TEST_F(HostMonitorPolicy, LetsRootReport)
{
    const Process healthmgr({HEALTHMGR});
    const Process hostmon(hostmonOn(machine));
    client.waitForHealth(root, 3);
}

/** The same bus with other users. */
class HostMonitorPolicyOfOthers : public HostMonitorPolicy
{
  protected:
    void SetUp() override
    {
        openToOthers(bus, Caller::hostMonitor, HOSTMON);
    }
};

TEST_F(HostMonitorPolicyOfOthers, LetsItsUserReport)
{
    const Process healthmgr(as(Caller::healthmgr, {HEALTHMGR}));
    const Process hostmon(as(Caller::hostMonitor, hostmonOn(machine)));
    client.waitForHealth(memoryKey, 3);
    client.waitForHealth(root, 3);
}

TEST_F(HostMonitorPolicyOfOthers, GivesTheNamesOfComponentsOnlyToItsUser)
{
    const std::string name = std::string(monitor) + ".key_0";
    for (const Caller caller :
         {Caller::stranger, Caller::reporter, Caller::operatorUser,
          Caller::healthmgr, Caller::logmgr})
    {
        EXPECT_THAT(
            [&] {
                requestNameAs(caller, name);
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")));
    }
    EXPECT_EQ(requestNameAs(Caller::hostMonitor, name), "u 1\n");
    EXPECT_THAT(
        [&] {
            requestNameAs(Caller::hostMonitor, manager);
        },
        ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")));
}

TEST_F(HostMonitorPolicyOfOthers, RefusesAHostMonitorOfAnotherUser)
{
    Process hostmon(as(Caller::reporter, hostmonOn(machine)));
    EXPECT_EQ(hostmon.wait(), 1);
    EXPECT_THAT(hostmon.errors(), HasSubstr(refusal));
}

} // namespace
} // namespace healthintf::test
