// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "context.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>
#include <watch/silent_connections.hpp>

#include <string>

namespace healthintf::healthctl
{
namespace
{

std::string readName(const test::BusClient& client)
{
    const char* name = "";
    sd_bus_get_unique_name(client.get(), &name);
    return name;
}

/** Processes what the bus has sent. */
void catchUp(sd_bus* bus)
{
    sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                       "org.freedesktop.DBus", "GetId", nullptr, nullptr, "");
    while (sd_bus_process(bus, nullptr) > 0)
    {}
}

TEST(SilentConnections, AreAskedAgainWhereTheBusRefusesToAskThem)
{
    if (test::busKind() == test::BusKind::broker)
    {
        GTEST_SKIP() << "dbus-broker has no such limit for a connection";
    }
    const test::PrivateBus bus(
        std::string(test::openRules) +
        "<limit name=\"max_replies_per_connection\">1</limit>");
    auto connected = connectBus();
    test::BusClient one;
    test::BusClient other;
    int answers = 0;
    SilentConnections silent(connected.get(), [&answers] {
        ++answers;
    });
    SilentProcesses processes{{readName(one), "one"},
                              {readName(other), "other"}};
    silent.takeOver(processes);
    catchUp(connected.get());
    // Nobody has answered, so there is no reason to read again.
    EXPECT_EQ(answers, 0);
    EXPECT_EQ(silent.names().size(), 2);

    one.catchUp();
    other.catchUp();
    catchUp(connected.get());
    EXPECT_EQ(answers, 1);
    ASSERT_EQ(silent.names().size(), 1);
    std::erase_if(processes, [&silent](const auto& process) {
        return !silent.names().contains(process.first);
    });
    silent.takeOver(processes);
    one.catchUp();
    other.catchUp();
    catchUp(connected.get());
    EXPECT_EQ(answers, 2);
}

} // namespace
} // namespace healthintf::healthctl
