// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "context.hpp"
#include "hanging_bus.hpp"
#include "source/bus_source.hpp"

#include <gtest/gtest.h>

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

} // namespace
} // namespace healthintf::healthctl
