// SPDX-License-Identifier: Apache-2.0
#include "common/bus_link.hpp"
#include "private_bus.hpp"
#include "storage/file_descriptor.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

namespace healthintf::services
{
namespace
{

using test::PrivateBus;
using Clock = std::chrono::steady_clock;

class BusLinkTest : public testing::Test
{
  protected:
    /** Runs the loop until @p done. */
    void waitUntil(const std::string& what, const std::function<bool()>& done)
    {
        const auto begin = Clock::now();
        while (!done())
        {
            if (Clock::now() - begin > test::patience)
            {
                throw std::runtime_error("not in time: " + what);
            }
            constexpr uint64_t turn = 10'000;
            sd_event_run(loop.get(), turn);
        }
    }

    /** Runs the loop until the link has a connection, or has none. */
    void waitFor(BusLink& link, bool there)
    {
        waitUntil("a change of the connection", [&] {
            return (link.get() != nullptr) == there;
        });
    }

    /** A socket that takes connections and answers none. */
    static host::FileDescriptor listenAt(const std::filesystem::path& name)
    {
        host::FileDescriptor listening(
            socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
        const void* const any = &address;
        if (bind(listening.get(), static_cast<const sockaddr*>(any),
                 sizeof(address)) != 0 ||
            listen(listening.get(), 1) != 0)
        {
            throw std::system_error(errno, std::generic_category(), name);
        }
        return listening;
    }

    BusLink::Opened count()
    {
        return [this](sd_bus*) {
            ++opened;
        };
    }

    /** The socket of this process's default bus. */
    static std::filesystem::path socketOfTheBus()
    {
        const std::string address = getenv("DBUS_SYSTEM_BUS_ADDRESS");
        const std::size_t begin = address.find('/');
        return address.substr(begin, address.find(',') - begin);
    }

    /** Makes the bus at a socket this process's default bus. */
    static void useBusAt(const std::filesystem::path& socket)
    {
        const std::string address = "unix:path=" + socket.string();
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
        setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }

    EventLoop loop;
    int opened = 0;
};

TEST_F(BusLinkTest, ConnectsInItsLoop)
{
    const PrivateBus bus;
    BusLink link(loop, count());
    waitFor(link, true);
    EXPECT_EQ(opened, 1);
    EXPECT_GT(sd_bus_is_ready(link.get()), 0);
}

TEST_F(BusLinkTest, HasNoConnectionWithoutABus)
{
    useBusAt("/nowhere");
    BusLink link(loop, count());
    sd_event_run(loop.get(), 0);
    EXPECT_EQ(link.get(), nullptr);
}

TEST_F(BusLinkTest, ReconnectsToARestartedBus)
{
    const test::TemporaryFolder folder;
    const auto name = folder.path() / "bus";
    std::optional<PrivateBus> bus(std::in_place);
    std::filesystem::create_symlink(socketOfTheBus(), name);
    useBusAt(name);
    BusLink link(loop, count());
    waitFor(link, true);

    bus->kill();
    waitFor(link, false);
    bus.emplace();
    std::filesystem::remove(name);
    std::filesystem::create_symlink(socketOfTheBus(), name);
    useBusAt(name);
    // The next caller gets the new connection.
    waitUntil("the second connection", [this] {
        return opened == 2;
    });
    waitFor(link, true);
    EXPECT_EQ(opened, 2);
}

TEST_F(BusLinkTest, LetsItsLoopEndWhileTheBusDoesNotAnswerHello)
{
    const test::TemporaryFolder folder;
    const auto name = folder.path() / "bus";
    const host::FileDescriptor silent = listenAt(name);
    useBusAt(name);
    const BusLink link(loop, count());

    loop.exit(0);
    const auto begin = Clock::now();
    EXPECT_EQ(loop.run(), 0);
    EXPECT_LT(Clock::now() - begin, test::patience);
}

} // namespace
} // namespace healthintf::services
