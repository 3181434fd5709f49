// SPDX-License-Identifier: Apache-2.0
/** @file A daemon handles signals while the library waits for the bus. */

#include "own_bus.hpp"
#include "private_bus.hpp"

#include <hmi_client_stub.hpp>
#include <hmi_fault_health.hpp>
#include <platform/config_manager.h>
#include <platform/data_abstraction/sel.hpp>

#include <gtest/gtest.h>
#include <sys/time.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using DataAbstraction::SEL::AddSEL;
using DataAbstraction::SEL::largestRecordId;

const std::string key = "/com/vexa/olvar/health/a";

volatile std::sig_atomic_t handled = 0;

/** Until it goes out of scope, a timer sends 5,000 signals a second, whose
 *  handler interrupts system calls without SA_RESTART. */
class Signals
{
  public:
    Signals()
    {
        handled = 0;
        struct sigaction action
        {};
        action.sa_handler = [](int /*signal*/) {
            handled = handled + 1;
        };
        sigaction(SIGALRM, &action, &before);
        setPeriod(200);
    }

    ~Signals()
    {
        setPeriod(0);
        sigaction(SIGALRM, &before, nullptr);
    }

    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

  private:
    static void setPeriod(suseconds_t microseconds)
    {
        const itimerval timer{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

    struct sigaction before
    {};
};

/** Repeats a call until enough signals have interrupted it, or it fails. */
template <typename Call>
bool holds(Call&& call)
{
    constexpr int enough = 300;
    const Signals signals;
    while (handled < enough)
    {
        if (!call())
        {
            return false;
        }
    }
    return true;
}

class InterruptedCalls : public testing::Test
{
  protected:
    // Shared by all tests: a thread has one default connection in its life.
    static const PrivateBus& privateBus()
    {
        static const PrivateBus bus;
        return bus;
    }

    sdbusplus::bus_t bus = (privateBus(), openBus());
};

TEST_F(InterruptedCalls, DoNotKeepAComponentFromBeingMade)
{
    using health_namespace::FaultAndHealth;
    EXPECT_TRUE(holds([this] {
        const std::unique_ptr<FaultAndHealth> made(
            FaultAndHealth::Init(bus, key, 2, false));
        return made != nullptr;
    }));
}

TEST_F(InterruptedCalls, DoNotKeepAnAttributeFromBeingSet)
{
    privateBus().activate("com.vexa.olvar.healthmgr", HEALTHMGR);
    const CfgMgrOrigin origin{"test", nullptr, nullptr};
    EXPECT_TRUE(holds([&origin, value = 0]() mutable {
        return CfgSetAttributeInt("some.attribute", ++value, 0, &origin) == 0;
    }));
}

TEST_F(InterruptedCalls, DoNotKeepAnEventFromBeingStored)
{
    const std::string service = "com.vexa.olvar.logmgr";
    privateBus().activate(service, LOGMGR);
    const std::unique_ptr<SelClientStub::SELClient> client(
        SelClientStub::SELClient::Init(bus));
    const std::vector<uint8_t> record{0, 0, 2, 0, 0,    0, 0, 0x20,
                                      0, 4, 4, 1, 0x57, 1, 2, 3};
    uint32_t id = 0;
    EXPECT_TRUE(holds([&] {
        return client->addSEL({}, record, id) == 0 &&
               AddSEL(service, "/com/vexa/olvar/logmgr/SEL", {}, record, {}) <=
                   largestRecordId;
    }));
}

} // namespace
} // namespace healthintf::test
