// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "context.hpp"
#include "hanging_bus.hpp"
#include "source/bus_source.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace healthintf::healthctl
{
namespace
{

TEST(BusSource, FailsSoonOnABusThatHangs)
{
    const test::PrivateBus bus;
    const auto connected = connectBus();
    EXPECT_TRUE(BusSource().nodes().empty());
    expectFailsSoonOnHanging(bus, [] {
        BusSource();
    });
}

TEST(BusSource, FailsOnABusThatEndsWhileOneHasNotAnswered)
{
    test::PrivateBus bus;
    const auto connected = connectBus();
    const test::BusClient unanswering;
    expectUnavailable([&bus] {
        // It would show what the others have as if it were all.
        BusSource({.silent = {}, .whileWaiting = [&bus] {
                       bus.kill();
                   }});
    });
}

TEST(BusSource, TellsOfThoseThatTheBusLetsItNotAsk)
{
    // Each of two calls is one reply that the bus waits for.
    const test::PrivateBus bus(
        std::string(test::openRules) +
        "<limit name=\"max_replies_per_connection\">5</limit>");
    const auto connected = connectBus();
    const std::array<test::BusClient, 4> unanswering;
    EXPECT_EQ(BusSource().silent().size(), unanswering.size());
}

} // namespace
} // namespace healthintf::healthctl
