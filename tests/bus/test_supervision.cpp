// SPDX-License-Identifier: Apache-2.0
/** @file What a service manager hears of the services. */

#include "bus_client.hpp"
#include "notify_socket.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <ostream>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

/** A service that is started as a service manager does. */
struct Service
{
    std::string name;
    std::vector<std::string> command;
    /** The name that it owns, if it owns one. */
    std::string busName;

    friend void PrintTo(const Service& service, std::ostream* out)
    {
        *out << service.name;
    }
};

class SupervisedDaemon : public testing::TestWithParam<Service>
{
  protected:
    PrivateBus bus;
    NotifySocket manager;

    /** Starts it, with a program's arguments at the end. */
    Process start(std::vector<std::string> settings = {})
    {
        std::vector<std::string> command = GetParam().command;
        if (GetParam().name == "hostmon")
        {
            const auto config = bus.folder().write(
                "hostmon.toml", "[[memory]]\nwarning = 1\ncritical = 0\n");
            command.insert(command.end(), {"--config", config});
        }
        settings.push_back(manager.setting());
        return Process(command, settings);
    }
};

TEST_P(SupervisedDaemon, IsReadyOnceItCanBeCalled)
{
    BusClient client;
    Process service = start();
    EXPECT_EQ(manager.hear(), "READY=1");
    if (!GetParam().busName.empty())
    {
        EXPECT_NO_THROW(client.ownerOf(GetParam().busName));
    }
    service.signal(SIGTERM);
    EXPECT_EQ(manager.hear(), "STOPPING=1");
    EXPECT_EQ(service.wait(), 0);
}

TEST_P(SupervisedDaemon, GivesSignsOfLife)
{
    Process service = start({"WATCHDOG_USEC=100000"});
    std::vector<std::string> heard;
    while (heard.size() < 4)
    {
        heard.push_back(manager.hear());
    }
    EXPECT_THAT(heard,
                testing::UnorderedElementsAre("READY=1", "WATCHDOG=1",
                                              "WATCHDOG=1", "WATCHDOG=1"));
}

TEST_P(SupervisedDaemon, IsNotReadyWithoutABus)
{
    bus.kill();
    Process service = start();
    EXPECT_NE(service.wait(), 0);
    EXPECT_TRUE(manager.silent());
}

INSTANTIATE_TEST_SUITE_P(
    Each, SupervisedDaemon,
    testing::Values(
        Service{"healthmgr", {HEALTHMGR}, "com.vexa.olvar.healthmgr"},
        Service{"logmgr", {LOGMGR}, "com.vexa.olvar.logmgr"},
        Service{"hostmon", {HOSTMON}, ""}),
    [](const auto& service) {
        return service.param.name;
    });

} // namespace
} // namespace healthintf::test
