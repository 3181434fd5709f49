// SPDX-License-Identifier: Apache-2.0
/** @file The bus limits the match rules of a connection; a component takes
 *  three. */

#include "bus_client.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::test
{
namespace
{

const std::string root = "/com/vexa/olvar/health";

TEST(MatchLimit, FailsOnlyTheComponentThatReachesIt)
{
    const PrivateBus bus(openRules + matchRuleLimit(512));
    BusClient client;
    Component daemon(root, 2);
    // dbus-broker counts rules with equal text once for each connection, so
    // each component adds one rule only. Three are common to all components,
    // two are the client's, and a rule counts twice while it is added.
    const int most = busKind() == BusKind::broker ? 512 - 3 - 2 - 1 : 512 / 3;
    int made = 1;
    const auto key = [](int number) {
        return root + "/c" + std::to_string(number);
    };
    while (daemon.init(key(made), 2) != "null")
    {
        ASSERT_LT(++made, 1000);
    }
    EXPECT_EQ(made, most);
    EXPECT_THAT(daemon.process.errors(),
                testing::HasSubstr("InitInternal: sd_bus_match: "
                                   "org.freedesktop.DBus.Error."
                                   "LimitsExceeded"));

    // Existing components still work, and nothing remains of the failed one.
    daemon.add(key(made - 1), "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    const std::string owner = client.findOwner("org.freedesktop.DBus");
    EXPECT_THROW(client.health(daemon.name(), key(made)), std::runtime_error);

    // A deleted component makes room for another.
    daemon.expect("delete " + key(1), "ok");
    EXPECT_NE(daemon.init(key(made), 2), "null");
}

} // namespace
} // namespace healthintf::test
