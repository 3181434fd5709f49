// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "peer_users.hpp"
#include "service_on_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{
namespace
{

using test::ServiceOnBus;
using testing::Each;
using testing::SizeIs;

class UsersOfPeers : public testing::Test
{
  protected:
    bool find(const std::string& peer)
    {
        return users.find(peer, [this](std::optional<uint32_t> user) {
            found.push_back(user);
        });
    }

    std::string peer() const
    {
        const char* name = nullptr;
        sd_bus_get_unique_name(client.get(), &name);
        return name;
    }

    ServiceOnBus& service = ServiceOnBus::instance();
    test::BusClient client;
    PeerUsers users{service.connection};
    std::vector<std::optional<uint32_t>> found;
};

TEST_F(UsersOfPeers, AreRequestedWithoutWaiting)
{
    EXPECT_TRUE(find(peer()));
    EXPECT_THAT(found, SizeIs(0));
    service.catchUp();
    EXPECT_THAT(found, testing::ElementsAre(std::optional(geteuid())));
}

TEST_F(UsersOfPeers, AreRequestedOnceUntilThePeerIsGone)
{
    find(peer());
    service.catchUp();
    EXPECT_TRUE(find(peer()));
    EXPECT_THAT(found, SizeIs(2)) << "it is known";
    users.forget(peer());
    find(peer());
    EXPECT_THAT(found, SizeIs(2));
    service.catchUp();
    EXPECT_THAT(found, SizeIs(3));
}

TEST_F(UsersOfPeers, AreUnknownForAPeerThatIsGone)
{
    find(":1.4711");
    service.catchUp();
    EXPECT_THAT(found, testing::ElementsAre(std::nullopt));
}

TEST_F(UsersOfPeers, AreAwaitedByALimitedNumberOfCalls)
{
    for (std::size_t i = 0; i < PeerUsers::mostWaiting; ++i)
    {
        EXPECT_TRUE(find(peer()));
    }
    EXPECT_FALSE(find(peer()));
    EXPECT_TRUE(find(":1.4711")) << "another peer";
    service.catchUp();
    EXPECT_THAT(found, SizeIs(PeerUsers::mostWaiting + 1));
    EXPECT_TRUE(find(peer()));
}

} // namespace
} // namespace healthintf::healthmgr
