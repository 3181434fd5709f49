// SPDX-License-Identifier: Apache-2.0
/** @file What daemons and services log when their bus goes away. */

#include "bus_client.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "notify_socket.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health";

/** The number of lines about a lost connection that a program logged. */
std::size_t losses(const Process& program)
{
    const std::string line = "the connection to the bus is lost";
    const std::string errors = program.errors();
    std::size_t count = 0;
    for (auto at = errors.find(line); at != std::string::npos;
         at = errors.find(line, at + line.size()))
    {
        ++count;
    }
    return count;
}

class LostConnection : public testing::TestWithParam<const char*>
{
  protected:
    std::optional<PrivateBus> bus{std::in_place};
};

TEST_P(LostConnection, IsLoggedOnceForAnyNumberOfComponents)
{
    Component daemon(root, 2, GetParam());
    daemon.init(root + "/a", 2);
    daemon.init(root + "/b", 2);
    daemon.add(root + "/a", "BAD", "/sensor", 1);
    bus->kill();
    daemon.expect("count", "1 0");
    daemon.expect("add " + root + " BAD /sensor 1", "4");
    daemon.expect("init " + root + "/c 2", "null");
    const std::string notConnected =
        ": System.Error.ENOTCONN: Transport endpoint is not connected";
    daemon.expect("hide 1 - /sensor 0", "sd_bus_send" + notConnected);
    EXPECT_THAT(daemon.process.errors(),
                HasSubstr("addFault: sd_bus_is_open" + notConnected));
    daemon.end();
    EXPECT_EQ(losses(daemon.process), 1u) << daemon.process.errors();
}

TEST_P(LostConnection, IsNotLoggedByADaemonThatEndsOrClosesIt)
{
    Component ended(root, 2, GetParam());
    ended.end();
    EXPECT_EQ(losses(ended.process), 0u);
    Component closed(root, 2, GetParam());
    closed.expect("close", "ok");
    closed.end();
    EXPECT_EQ(losses(closed.process), 0u);
}

TEST_P(LostConnection, IsRepairedByARestart)
{
    {
        Component daemon(root, 2, GetParam());
        daemon.add(root, "BAD", "/sensor", 1);
        bus->kill();
        daemon.end();
    }
    bus.emplace();
    BusClient client;
    Component daemon(root, 2, GetParam());
    daemon.add(root, "WORSE", "/sensor", 2);
    client.waitForHealth(root, 3);
    EXPECT_EQ(recordedFaults().size(), 1u);
    EXPECT_EQ(losses(daemon.process), 0u);
}

INSTANTIATE_TEST_SUITE_P(EachLoop, LostConnection,
                         testing::Values("sd-event", "own-loop"),
                         [](const auto& loop) {
                             return std::string(loop.param) == "sd-event"
                                        ? "SdEvent"
                                        : "OwnLoop";
                         });

TEST(LostConnectionOfAService, IsLoggedOnce)
{
    for (const char* program : {HEALTHMGR, LOGMGR})
    {
        PrivateBus bus;
        NotifySocket manager;
        Process service({program}, {manager.setting()});
        EXPECT_EQ(manager.hear(), "READY=1");
        bus.kill();
        EXPECT_EQ(service.wait(), 1);
        EXPECT_EQ(losses(service), 1u) << service.errors();
    }
}

TEST(LostConnectionOfAService, EndsTheSearchForNodesWithoutALogLine)
{
    PrivateBus bus;
    constexpr std::size_t askedAtOnce = 8;
    std::size_t asked = 0;
    // More connections than the search asks at once; none of them replies.
    std::array<BusClient, 2 * askedAtOnce> clients;
    for (const BusClient& client : clients)
    {
        sd_bus_add_filter(
            client.get(), nullptr,
            [](sd_bus_message* message, void* count, sd_bus_error*) {
                const int isQuestion = sd_bus_message_is_method_call(
                    message, nullptr, "GetManagedObjects");
                *static_cast<std::size_t*>(count) += isQuestion > 0 ? 1 : 0;
                return isQuestion;
            },
            &asked);
    }
    Process service({HEALTHMGR});
    for (std::size_t each = 0; asked < askedAtOnce; ++each)
    {
        ASSERT_LT(each, 10'000) << "no search";
        clients.at(each % clients.size()).catchUp();
    }
    bus.kill();
    EXPECT_EQ(service.wait(), 1);
    EXPECT_THAT(service.errors(), testing::Not(HasSubstr("EXCEPTION")));
}

} // namespace
} // namespace healthintf::test
