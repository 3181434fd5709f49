// SPDX-License-Identifier: Apache-2.0
#include "error.hpp"
#include "private_bus.hpp"

#include <doctor/bus_probe.hpp>
#include <gtest/gtest.h>

#include <chrono>

namespace healthintf::healthctl
{
namespace
{

TEST(BusProbe, FailsSoonOnABusThatHangsMeanwhile)
{
    const test::PrivateBus bus;
    const BusProbe probe;
    ASSERT_TRUE(probe.connected());
    bus.freeze();
    const auto begin = std::chrono::steady_clock::now();
    try
    {
        // It would say that none runs.
        probe.services();
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
