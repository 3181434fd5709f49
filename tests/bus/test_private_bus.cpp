// SPDX-License-Identifier: Apache-2.0
/** @file The message bus of the tests, of either implementation. */

#include "bus_client.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace healthintf::test
{
namespace
{

constexpr const char* service = "org.example.service";

/** Calls a service that the bus starts, and returns the error of the reply. */
std::string errorOfCall(const BusClient& client)
{
    try
    {
        client.call(service, "/", "org.example.service", "Call", nullptr);
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "";
}

class PrivateBusTest : public testing::Test
{
  protected:
    PrivateBus bus;
};

TEST_F(PrivateBusTest, StartsAProgramForAName)
{
    const auto seen = bus.folder().path() / "seen";
    // The program fails without taking the name, so that the call gets a reply.
    bus.activate(service, "/bin/sh -c \"touch " + seen.string() + "; exit 1\"");
    const BusClient client;
    EXPECT_NE(errorOfCall(client), "");
    EXPECT_TRUE(std::filesystem::exists(seen));
}

TEST_F(PrivateBusTest, SaysThatAProgramIsMissing)
{
    bus.activate(service, "/nonexistent/program");
    const BusClient client;
    EXPECT_NE(errorOfCall(client), "");
}

TEST_F(PrivateBusTest, ClosesItsConnectionsWhenItIsKilled)
{
    BusClient client;
    bus.kill();
    EXPECT_LT(sd_bus_call_method(
                  client.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                  "org.freedesktop.DBus", "GetId", nullptr, nullptr, nullptr),
              0);
}

TEST_F(PrivateBusTest, AnswersNothingWhileItIsFrozen)
{
    BusClient client;
    sd_bus_set_method_call_timeout(client.get(), 100'000);
    bus.freeze();
    EXPECT_EQ(sd_bus_call_method(
                  client.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                  "org.freedesktop.DBus", "GetId", nullptr, nullptr, nullptr),
              -ETIMEDOUT);
}

TEST_F(PrivateBusTest, AnswersOnceItIsThawed)
{
    BusClient client;
    bus.freeze();
    bus.thaw();
    EXPECT_GE(sd_bus_call_method(
                  client.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                  "org.freedesktop.DBus", "GetId", nullptr, nullptr, nullptr),
              0);
}

class BusKindTest : public testing::Test
{
  protected:
    void TearDown() override
    {
        if (given)
        {
            setenv("HEALTHINTF_TEST_BUS", given->c_str(), 1);
        }
        else
        {
            unsetenv("HEALTHINTF_TEST_BUS");
        }
    }

  private:
    static std::optional<std::string> setting()
    {
        const char* value = getenv("HEALTHINTF_TEST_BUS");
        return value == nullptr ? std::nullopt
                                : std::optional<std::string>(value);
    }

    std::optional<std::string> given = setting();
};

TEST_F(BusKindTest, IsDbusDaemonUnlessTheEnvironmentNamesAnother)
{
    unsetenv("HEALTHINTF_TEST_BUS");
    EXPECT_EQ(busKind(), BusKind::daemon);
    setenv("HEALTHINTF_TEST_BUS", "daemon", 1);
    EXPECT_EQ(busKind(), BusKind::daemon);
    setenv("HEALTHINTF_TEST_BUS", "broker", 1);
    EXPECT_EQ(busKind(), BusKind::broker);
}

TEST_F(BusKindTest, RefusesAnUnknownBus)
{
    setenv("HEALTHINTF_TEST_BUS", "brokr", 1);
    EXPECT_THROW(busKind(), std::runtime_error);
}

} // namespace
} // namespace healthintf::test
