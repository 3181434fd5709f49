// SPDX-License-Identifier: Apache-2.0
/** @file The services' connection on a bus. */

#include "bus_client.hpp"
#include "common/connection.hpp"
#include "private_bus.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace healthintf::services
{
namespace
{

using test::BusClient;
using testing::HasSubstr;

constexpr const char* name = "com.example.Service";

class ServiceConnection : public testing::Test
{
  protected:
    static std::string readName(const BusClient& client)
    {
        const char* unique = nullptr;
        sd_bus_get_unique_name(client.get(), &unique);
        return unique;
    }

    /** Processes the loop's pending events. */
    void settle()
    {
        while (sd_event_run(loop.get(), 0) > 0)
        {}
    }

    /** Waits until the bus has delivered everything sent so far. */
    void waitForBus()
    {
        bool passed = false;
        connection->afterBus([&] {
            passed = true;
        });
        while (!passed)
        {
            sd_event_run(loop.get(), UINT64_MAX);
        }
    }

    /** The error of opening another connection. */
    std::string openingFailure()
    {
        try
        {
            const Connection another(loop);
        }
        catch (const std::system_error& e)
        {
            return e.what();
        }
        return "none";
    }

    test::PrivateBus bus;
    EventLoop loop;
    std::optional<Connection> connection{std::in_place, loop};
};

/** A bus that closes each new connection. */
class DyingBus
{
  public:
    DyingBus() : listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = folder.path() / "bus";
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (bind(listening, reinterpret_cast<const sockaddr*>(&address),
                 sizeof(address)) != 0 ||
            listen(listening, 1) != 0)
        {
            throw std::runtime_error("unable to listen");
        }
        setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
        setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
        hangingUp = std::thread([this] {
            close(accept(listening, nullptr, nullptr));
        });
    }
    ~DyingBus()
    {
        hangingUp.join();
        close(listening);
    }
    DyingBus(const DyingBus&) = delete;
    DyingBus& operator=(const DyingBus&) = delete;

  private:
    test::TemporaryFolder folder;
    int listening;
    std::thread hangingUp;
};

TEST_F(ServiceConnection, ReportsABusThatClosesTheConnectionBeforeHello)
{
    connection.reset();
    const DyingBus dying;
    EXPECT_THAT(openingFailure(), HasSubstr("unable to connect to the bus: "));
}

TEST_F(ServiceConnection, OwnsANameUntilItEnds)
{
    BusClient client;
    const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) {
        return 0;
    };
    ASSERT_GE(sd_bus_match_signal(client.get(), nullptr, "org.freedesktop.DBus",
                                  nullptr, nullptr, "NameOwnerChanged", ignore,
                                  nullptr),
              0);
    connection->requestName(name);
    EXPECT_EQ(client.findOwner(name), connection->uniqueName());
    connection.reset();
    client.waitUntil("release of the name", [&] {
        return client.findOwner(name).empty();
    });
}

TEST_F(ServiceConnection, GivesANameUp)
{
    BusClient client;
    connection->requestName(name);
    connection->releaseName(name);
    waitForBus();
    EXPECT_EQ(client.findOwner(name), "");
    connection->requestName(name);
    EXPECT_EQ(client.findOwner(name), connection->uniqueName());
}

TEST_F(ServiceConnection, GivesNamesUpWithoutWaitingForTheBus)
{
    connection->requestName(name);
    bus.freeze();
    const auto begin = std::chrono::steady_clock::now();
    // So many calls that their timeouts would add up to more.
    for (int i = 0; i < 5; ++i)
    {
        connection->releaseName(name);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, test::patience);
}

TEST_F(ServiceConnection, GetsANameAtTheNextRequestAfterATimeout)
{
    bus.freeze();
    EXPECT_THROW(connection->requestName(name), std::system_error);
    bus.thaw();
    waitForBus();
    BusClient client;
    EXPECT_EQ(client.findOwner(name), "");
    connection->requestName(name);
    EXPECT_EQ(client.findOwner(name), connection->uniqueName());
}

TEST_F(ServiceConnection, ThrowsForANameThatAnotherOwns)
{
    const BusClient client;
    ASSERT_GE(sd_bus_request_name(client.get(), name, 0), 0);
    try
    {
        connection->requestName(name);
        ADD_FAILURE() << "the name was taken over";
    }
    catch (const std::system_error& e)
    {
        EXPECT_EQ(e.code().value(), EEXIST);
        EXPECT_THAT(e.what(), HasSubstr(name));
    }
    EXPECT_EQ(client.findOwner(name), readName(client));
}

TEST_F(ServiceConnection, ReportsAPeerThatHasProcessedEarlierMessages)
{
    BusClient peer;
    bool answered = false;
    connection->awaitWork(readName(peer), [&] {
        answered = true;
        loop.exit(0);
    });
    waitForBus();
    settle();
    EXPECT_FALSE(answered) << "the peer has not looked at its messages yet";
    peer.catchUp();
    loop.run();
    EXPECT_TRUE(answered);
}

TEST_F(ServiceConnection, ReportsAPeerThatIsGone)
{
    auto peer = std::make_unique<BusClient>();
    int answers = 0;
    const auto count = [&] {
        if (++answers == 2)
        {
            loop.exit(0);
        }
    };
    connection->awaitWork(readName(*peer), count);
    waitForBus();
    connection->awaitWork("com.example.Nobody", count);
    peer.reset();
    loop.run();
    EXPECT_EQ(answers, 2);
}

TEST_F(ServiceConnection, ContinuesAfterAReplyHandlerThrows)
{
    testing::internal::CaptureStderr();
    connection->awaitWork("com.example.Nobody", [] {
        throw std::runtime_error("broken");
    });
    connection->awaitWork("com.example.Nobody", [this] {
        loop.exit(3);
    });
    EXPECT_EQ(loop.run(), 3);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("broken"));
}

TEST_F(ServiceConnection, AllowsCallsFromAReplyHandler)
{
    connection->awaitWork("com.example.Nobody", [this] {
        connection->awaitWork("com.example.Nobody", [this] {
            loop.exit(4);
        });
    });
    EXPECT_EQ(loop.run(), 4);
}

TEST_F(ServiceConnection, SendsNothingToAnInvalidName)
{
    EXPECT_THROW(connection->awaitWork("no name",
                                       [] {
                                           ADD_FAILURE();
                                       }),
                 std::system_error);
    settle();
}

TEST_F(ServiceConnection, CancelsItsCallsWhenItEnds)
{
    BusClient peer;
    bool answered = false;
    connection->awaitWork(readName(peer), [&] {
        answered = true;
    });
    waitForBus();
    connection.reset();
    peer.catchUp();
    settle();
    EXPECT_FALSE(answered);
}

TEST_F(ServiceConnection, ReportsWhenTheBusHasDeliveredItsSignals)
{
    BusClient client;
    constexpr int many = 500;
    for (uint32_t i = 0; i < many; ++i)
    {
        auto signal = connection->bus().new_signal(
            "/a", "com.vexa.olvar.healthmgr.HealthStatus",
            "HealthStatusUpdate");
        signal.append("/", "/a", i);
        signal.signal_send();
    }
    waitForBus();
    client.catchUp();
    ASSERT_EQ(client.updates.size(), static_cast<std::size_t>(many));
    EXPECT_EQ(client.updates.back(), "/ /a 499");
}

TEST_F(ServiceConnection, FindsTheUserOfAPeer)
{
    const BusClient peer;
    std::optional<uint32_t> user;
    connection->findUser(readName(peer), [&](std::optional<uint32_t> found) {
        user = found;
        loop.exit(0);
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(user, std::optional<uint32_t>(geteuid()));
}

TEST_F(ServiceConnection, FindsNoUserOfAPeerThatIsGone)
{
    std::optional<uint32_t> user = 0;
    connection->findUser(":1.4711", [&](std::optional<uint32_t> found) {
        user = found;
        loop.exit(0);
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(user, std::nullopt);
}

TEST_F(ServiceConnection, ListsTheNamesOnTheBus)
{
    const BusClient peer;
    std::vector<std::string> names;
    connection->listNames([&](const std::vector<std::string>& found) {
        names = found;
        loop.exit(0);
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_THAT(names, testing::IsSupersetOf(
                           {std::string("org.freedesktop.DBus"), readName(peer),
                            connection->uniqueName()}));
}

TEST_F(ServiceConnection, FindsNoObjectsOfAPeerThatIsGone)
{
    bool failed = false;
    connection->listObjects(":1.4711", "/", [&](sd_bus_message* reply) {
        failed = sd_bus_message_is_method_error(reply, nullptr) > 0;
        loop.exit(0);
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_TRUE(failed);
}

TEST_F(ServiceConnection, WaitsForTheObjectsOfAPeerLongerThanForOtherReplies)
{
    BusClient silent;
    sd_bus_set_method_call_timeout(connection->get(), 1);
    std::string error;
    connection->listObjects(readName(silent), "/", [&](sd_bus_message* reply) {
        error = sd_bus_message_get_error(reply)->name;
        loop.exit(0);
    });
    connection->awaitWork(readName(silent), [&] {
        constexpr uint64_t enough = 20'000'000;
        sd_bus_set_method_call_timeout(connection->get(), enough);
        connection->afterBus([&] {
            silent.catchUp();
        });
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(error, SD_BUS_ERROR_UNKNOWN_OBJECT);
}

TEST_F(ServiceConnection, SendsQueuedMessagesAtOnce)
{
    const std::string large(16UL << 20, 'x');
    sd_bus_emit_signal(connection->get(), "/a", "com.example.Any", "Any", "s",
                       large.c_str());
    connection->flush();
    uint64_t left = 1;
    ASSERT_GE(sd_bus_get_n_queued_write(connection->get(), &left), 0);
    EXPECT_EQ(left, 0U);
}

TEST_F(ServiceConnection, EndsTheLoopWithAnErrorWhenTheBusIsLost)
{
    testing::internal::CaptureStderr();
    bus.kill();
    EXPECT_EQ(loop.run(), EXIT_FAILURE);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the connection to the bus is lost"));
}

TEST_F(ServiceConnection, ThrowsWithoutABus)
{
    connection.reset();
    EXPECT_EQ(openingFailure(), "none");
    bus.kill();
    EXPECT_THAT(openingFailure(), HasSubstr("unable to connect to the bus"));
}

} // namespace
} // namespace healthintf::services
