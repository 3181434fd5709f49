// SPDX-License-Identifier: Apache-2.0
#include "hanging_bus.hpp"

#include <doctor/bus_probe.hpp>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

TEST(BusProbe, FailsSoonOnABusThatHangsMeanwhile)
{
    const test::PrivateBus bus;
    const BusProbe probe;
    ASSERT_TRUE(probe.connected());
    expectFailsSoonOnHanging(bus, [&probe] {
        // It would say that none runs.
        probe.services();
    });
}

TEST(BusProbe, FailsOnABusThatEndsMeanwhile)
{
    test::PrivateBus bus;
    const BusProbe probe;
    ASSERT_TRUE(probe.connected());
    bus.kill();
    expectUnavailable([&probe] {
        // It would say that none runs.
        probe.services();
    });
}

TEST(BusProbe, TellsThatHealthmgrDoesNotRun)
{
    const test::PrivateBus bus;
    const ServiceState healthmgr = BusProbe().healthmgr();
    EXPECT_EQ(healthmgr.program, "healthmgr");
    EXPECT_EQ(healthmgr.pid, 0U);
}

} // namespace
} // namespace healthintf::healthctl
