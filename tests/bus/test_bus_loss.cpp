// SPDX-License-Identifier: Apache-2.0
#include "bus_loss.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

namespace healthintf::host
{
namespace
{

using testing::HasSubstr;

class BusLoss : public testing::Test
{
  protected:
    BusLoss()
    {
        connect();
    }

    void connect()
    {
        bus.emplace();
        sd_bus* opened = nullptr;
        checkBus("sd_bus_open_system", sd_bus_open_system(&opened));
        connection.reset(opened);
    }

    /** Ends the bus.
     *
     *  @return the lines logged meanwhile */
    std::string lose()
    {
        testing::internal::CaptureStderr();
        bus->kill();
        // libsystemd reports the closed connection once and then does nothing.
        for (int did = 1; did >= 0;
             did = sd_bus_process(connection.get(), nullptr))
        {
            if (did == 0)
            {
                sd_bus_wait(connection.get(), UINT64_MAX);
            }
        }
        return testing::internal::GetCapturedStderr();
    }

    static std::size_t countLines(const std::string& text)
    {
        return static_cast<std::size_t>(std::ranges::count(text, '\n'));
    }

    std::optional<test::PrivateBus> bus;
    BusPtr connection;
};

TEST_F(BusLoss, IsLoggedOnceForAllWatches)
{
    const BusLossWatch first(connection.get());
    const BusLossWatch second(connection.get());
    const std::string logged = lose();
    EXPECT_THAT(logged, HasSubstr("the connection to the bus is lost"));
    EXPECT_EQ(countLines(logged), 1u);
}

TEST_F(BusLoss, IsLoggedForEachLostConnection)
{
    {
        const BusLossWatch watch(connection.get());
        EXPECT_EQ(countLines(lose()), 1u);
    }
    connect();
    const BusLossWatch watch(connection.get());
    EXPECT_EQ(countLines(lose()), 1u);
}

TEST_F(BusLoss, RunsTheReactionOfEachWatch)
{
    int calls = 0;
    const auto react = [&calls] {
        ++calls;
    };
    const BusLossWatch first(connection.get(), react);
    const BusLossWatch second(connection.get(), react);
    lose();
    EXPECT_EQ(calls, 2);
}

TEST_F(BusLoss, IsNotReportedToAnEndedWatch)
{
    int calls = 0;
    {
        const BusLossWatch ended(connection.get(), [&calls] {
            ++calls;
        });
    }
    EXPECT_EQ(countLines(lose()), 0u);
    EXPECT_EQ(calls, 0);
}

TEST_F(BusLoss, IsNotReportedWhenTheProgramClosesTheConnection)
{
    const BusLossWatch watch(connection.get());
    testing::internal::CaptureStderr();
    sd_bus_close(connection.get());
    sd_bus_process(connection.get(), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(BusLoss, CatchesExceptionsOfTheReaction)
{
    const BusLossWatch watch(connection.get(), [] {
        throw std::runtime_error("no way on");
    });
    EXPECT_THAT(lose(), HasSubstr("no way on"));
}

TEST_F(BusLoss, CannotBeWatchedWithoutAConnection)
{
    EXPECT_THROW(BusLossWatch(nullptr), std::system_error);
}

} // namespace
} // namespace healthintf::host
