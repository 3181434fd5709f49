// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "hanging_bus.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <doctor/bus_probe.hpp>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <thread>

namespace healthintf::healthctl
{
namespace
{

/** Notes that a ping came, and leaves it without an answer. */
int leavePing(sd_bus_message* message, void* context, sd_bus_error*)
{
    bool& came = *static_cast<bool*>(context);
    came |= sd_bus_message_is_method_call(message, nullptr, "Ping") > 0;
    return came ? 1 : 0;
}

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

TEST(BusProbe, FailsOnABusThatEndsBeforeHealthmgrAnswers)
{
    test::PrivateBus bus;
    const BusProbe probe;
    bool pinged = false;
    test::BusClient manager;
    ASSERT_GE(sd_bus_request_name(manager.get(), names::managerService, 0), 0);
    ASSERT_GE(sd_bus_add_filter(manager.get(), nullptr, leavePing, &pinged), 0);
    std::thread asked([&] {
        manager.waitUntil("ping", [&pinged] {
            return pinged;
        });
        bus.kill();
    });
    expectUnavailable([&probe] {
        // It would say that healthmgr answers.
        probe.healthmgr();
    });
    asked.join();
}

} // namespace
} // namespace healthintf::healthctl
