// SPDX-License-Identifier: Apache-2.0
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

} // namespace
} // namespace healthintf::healthctl
