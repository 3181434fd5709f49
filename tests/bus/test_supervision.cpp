// SPDX-License-Identifier: Apache-2.0
/** @file What services report to a service manager. */

#include "bus_client.hpp"
#include "notify_socket.hpp"
#include "private_bus.hpp"
#include "process.hpp"
#include "storage/file_descriptor.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <poll.h>

#include <chrono>
#include <csignal>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

/** A service that is started as a service manager starts it. */
struct Service
{
    std::string name;
    std::vector<std::string> command;
    /** Its bus name; empty if it owns none. */
    std::string busName;

    friend void PrintTo(const Service& service, std::ostream* out)
    {
        *out << service.name;
    }
};

class SupervisedDaemon : public testing::TestWithParam<Service>
{
  protected:
    PrivateBus bus;
    NotifySocket manager;

    /** Starts it with environment settings, followed by a program's arguments.
     */
    Process start(std::vector<std::string> settings = {})
    {
        std::vector<std::string> command = GetParam().command;
        if (GetParam().name == "hostmon")
        {
            const auto config = bus.folder().write(
                "hostmon.toml", "[[memory]]\nwarning = 1\ncritical = 0\n");
            command.insert(command.end(), {"--config", config});
        }
        settings.push_back(manager.setting());
        return Process(command, settings);
    }
};

TEST_P(SupervisedDaemon, ReportsReadyWhenItCanBeCalled)
{
    BusClient client;
    Process service = start();
    EXPECT_EQ(manager.hear(), "READY=1");
    if (!GetParam().busName.empty())
    {
        EXPECT_NO_THROW(client.findOwner(GetParam().busName));
    }
    service.signal(SIGTERM);
    EXPECT_EQ(manager.hear(), "STOPPING=1");
    EXPECT_EQ(service.wait(), 0);
}

/** A bus that accepts connections and never replies. */
class SilentBus
{
  public:
    SilentBus() : listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (bind(listening.get(), reinterpret_cast<const sockaddr*>(&address),
                 sizeof(address)) != 0 ||
            listen(listening.get(), 1) != 0)
        {
            throw std::runtime_error("unable to listen");
        }
    }

    /** The environment settings that make it a program's bus. */
    std::vector<std::string> settings() const
    {
        return {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + path,
                "DBUS_SESSION_BUS_ADDRESS=unix:path=" + path};
    }

    /** Waits for a connection.
     *
     *  @throws std::runtime_error after a timeout */
    void take()
    {
        using std::chrono::milliseconds;
        pollfd connection{
            .fd = listening.get(), .events = POLLIN, .revents = 0};
        if (poll(&connection, 1, milliseconds(patience).count()) <= 0)
        {
            throw std::runtime_error("nobody connects");
        }
        taken = host::FileDescriptor(
            accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }

  private:
    TemporaryFolder folder;
    std::string path = folder.path() / "bus";
    host::FileDescriptor listening;
    host::FileDescriptor taken;
};

TEST_P(SupervisedDaemon, EndsOnASignalWhileTheBusDoesNotAnswerHello)
{
    SilentBus silent;
    Process service = start(silent.settings());
    silent.take();
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 128 + SIGTERM);
}

TEST_P(SupervisedDaemon, SendsWatchdogMessages)
{
    Process service = start({"WATCHDOG_USEC=100000"});
    std::vector<std::string> heard;
    while (heard.size() < 4)
    {
        heard.push_back(manager.hear());
    }
    EXPECT_THAT(heard,
                testing::UnorderedElementsAre("READY=1", "WATCHDOG=1",
                                              "WATCHDOG=1", "WATCHDOG=1"));
}

TEST_P(SupervisedDaemon, IsNotReadyWithoutABus)
{
    bus.kill();
    Process service = start();
    EXPECT_NE(service.wait(), 0);
    EXPECT_TRUE(manager.silent());
}

INSTANTIATE_TEST_SUITE_P(
    Each, SupervisedDaemon,
    testing::Values(
        Service{"healthmgr", {HEALTHMGR}, "com.vexa.olvar.healthmgr"},
        Service{"logmgr", {LOGMGR}, "com.vexa.olvar.logmgr"},
        Service{"hostmon", {HOSTMON}, ""}),
    [](const auto& service) {
        return service.param.name;
    });

} // namespace
} // namespace healthintf::test
