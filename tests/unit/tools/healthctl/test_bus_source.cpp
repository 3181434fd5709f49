// SPDX-License-Identifier: Apache-2.0
#include "context.hpp"
#include "error.hpp"
#include "private_bus.hpp"
#include "source/bus_source.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace healthintf::healthctl
{
namespace
{

TEST(BusSource, FailsSoonOnABusThatHangs)
{
    const test::PrivateBus bus;
    const auto connected = connectBus();
    EXPECT_TRUE(BusSource().nodes().empty());
    bus.freeze();
    const auto begin = std::chrono::steady_clock::now();
    try
    {
        BusSource();
        ADD_FAILURE() << "the bus answers";
    }
    catch (const Error& e)
    {
        EXPECT_EQ(e.code(), ExitCode::unavailable);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(10));
    bus.thaw();
}

} // namespace
} // namespace healthintf::healthctl
