// SPDX-License-Identifier: Apache-2.0
/** @file The examples of daemons with an event loop, on a real bus. */

#include "bus_client.hpp"
#include "cache_view.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <hmi_fault_health.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace healthintf::test
{
namespace
{

const std::string key = "/com/vexa/olvar/health/example";

/** A daemon that an example describes. */
struct Example
{
    std::string name;
    std::vector<std::string> command;
};

class ExampleDaemon : public testing::TestWithParam<Example>
{
  protected:
    static std::vector<std::string> command(const std::string& at)
    {
        std::vector<std::string> words = GetParam().command;
        words.push_back(at);
        return words;
    }

    /** With the messages, and for Python with the module and the library. */
    static std::vector<std::string> environment()
    {
        return {"HEALTHINTF_REGISTRY_PATH=" SHIPPED_REGISTRIES,
                "LD_LIBRARY_PATH=" LIBRARY_FOLDER, "PYTHONPATH=" PYTHON_FOLDER};
    }

    /** How often the component has announced a health. */
    long announced(uint32_t health) const
    {
        return std::ranges::count(client.updates, "/com/vexa/olvar/health " +
                                                      key + " " +
                                                      std::to_string(health));
    }

    /** Waits until the daemon has written a text to standard error. */
    void awaitErrors(const std::string& text) const
    {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (daemon.errors().find(text) == std::string::npos)
        {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << text;
            std::this_thread::yield();
        }
    }

    PrivateBus bus;
    BusClient client;
    Process daemon{command(key), environment()};
};

TEST_P(ExampleDaemon, ReportsAFaultAndTakesItBack)
{
    client.waitForHealth(key, 2);
    daemon.tell("95.5");
    client.waitForHealth(key, 4);
    const auto faults = recordedFaults();
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].messageID, "HostMonitor.1.0.TemperatureCritical");
    EXPECT_EQ(faults[0].args,
              (std::vector<std::string>{"the example", "95.5", "95"}));
    daemon.tell("95");
    client.waitForHealth(key, 2);
    EXPECT_TRUE(recordedFaults().empty());
}

TEST_P(ExampleDaemon, KeepsOneFaultWhileItIsHot)
{
    for (const char* reading : {"96", "97", "no number", "98"})
    {
        daemon.tell(reading);
    }
    client.waitForHealth(key, 4);
    daemon.endInput();
    EXPECT_EQ(daemon.wait(), 0) << daemon.errors();
    EXPECT_THAT(daemon.errors(), testing::EndsWith("no reading: no number\n"));
    client.catchUp();
    EXPECT_EQ(announced(4), 1);
}

TEST_P(ExampleDaemon, PassesOverALineOfAnyBytesAndLength)
{
    // Longer than the usual limit of a line in asyncio.
    const std::string words(100'000, 'x');
    daemon.tell("\xFF\n" + words);
    awaitErrors("no reading: " + words + "\n");
    daemon.tell("96");
    client.waitForHealth(key, 4);
    daemon.endInput();
    EXPECT_EQ(daemon.wait(), 0) << daemon.errors();
}

TEST_P(ExampleDaemon, TakesItsNodeBackAtTheEndOfItsInput)
{
    client.waitForHealth(key, 2);
    daemon.endInput();
    EXPECT_EQ(daemon.wait(), 0) << daemon.errors();
    EXPECT_EQ(recordedHealth(key), std::nullopt);
    client.catchUp();
    ASSERT_FALSE(client.updates.empty());
    EXPECT_THAT(client.updates.back(), testing::EndsWith(key + " 0"));
}

TEST_P(ExampleDaemon, TakesItsNodeBackAfterSigterm)
{
    client.waitForHealth(key, 2);
    daemon.tell("99");
    client.waitForHealth(key, 4);
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(), 0) << daemon.errors();
    EXPECT_EQ(recordedHealth(key), std::nullopt);
    EXPECT_TRUE(recordedFaults().empty());
}

TEST_P(ExampleDaemon, HearsTheBusWhileItWaitsForAReading)
{
    daemon.tell("99");
    client.waitForHealth(key, 4);
    health_namespace::FaultAndHealth::SendHideFaultsSignal(
        true, "", "/com/vexa/olvar/sensors/example", 0);
    client.waitForHealth(key, 2);
    EXPECT_TRUE(recordedFaults().at(0).hidden);
}

TEST_P(ExampleDaemon, SendsWhatItsSocketDidNotTake)
{
    // It waits for the bus until it has its component.
    daemon.tell("99");
    client.waitForHealth(key, 4);
    bus.freeze();
    std::string readings;
    for (int i = 0; i < 1000; ++i)
    {
        readings += "40\n99\n";
    }
    daemon.tell(readings + "no number");
    awaitErrors("no number");
    bus.thaw();
    client.waitUntil("the last fault", [&] {
        return announced(4) == 1001;
    });
    EXPECT_EQ(recordedFaults().size(), 1U);
}

TEST_P(ExampleDaemon, SaysThatItCannotHoldItsComponent)
{
    Process refused(command("elsewhere"), environment());
    EXPECT_EQ(refused.wait(), 1);
    EXPECT_THAT(
        refused.errors(),
        testing::HasSubstr(GetParam().name +
                           ": unable to hold the component elsewhere\n"));
}

std::vector<Example> examples()
{
    std::vector<Example> all{{"sd-event-daemon", {SD_EVENT_DAEMON}}};
    // Empty where they cannot be built or run.
    const std::string asio = ASIO_DAEMON;
    const std::string asyncio = ASYNCIO_DAEMON;
    if (!asio.empty())
    {
        all.push_back({"asio-daemon", {asio}});
    }
    if (!asyncio.empty())
    {
        all.push_back({"asyncio-daemon", {"/usr/bin/python3", "-B", asyncio}});
    }
    return all;
}

/** Says which example failed. */
void PrintTo(const Example& example, std::ostream* out)
{
    *out << example.name;
}

std::string nameOf(const testing::TestParamInfo<Example>& example)
{
    std::string name = example.param.name;
    std::ranges::replace(name, '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Loops, ExampleDaemon, testing::ValuesIn(examples()),
                         nameOf);

} // namespace
} // namespace healthintf::test
