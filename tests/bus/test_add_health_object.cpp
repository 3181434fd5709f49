// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "private_bus.hpp"

#include <platform/data_abstraction/healthmgr.hpp>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace healthintf::test
{
namespace
{

/** Receives requests under healthmgr's name. */
class FakeManager
{
  public:
    struct Request
    {
        std::string member;
        std::string key;
        bool wantsReply;
    };

    FakeManager()
    {
        sd_bus_request_name(client.get(), "com.vexa.olvar.healthmgr", 0);
        sd_bus_add_object(client.get(), nullptr, "/com/vexa/olvar/healthmgr",
                          take, this);
    }

    const std::vector<Request>& waitFor(std::size_t count)
    {
        client.waitUntil("request", [&] {
            return requests.size() >= count;
        });
        return requests;
    }

  private:
    static int take(sd_bus_message* message, void* context, sd_bus_error*)
    {
        const char* key = nullptr;
        sd_bus_message_read(message, "s", &key);
        static_cast<FakeManager*>(context)->requests.push_back(
            {std::string(sd_bus_message_get_interface(message)) + "." +
                 sd_bus_message_get_member(message),
             key, sd_bus_message_get_expect_reply(message) > 0});
        return 1;
    }

    BusClient client;
    std::vector<Request> requests;
};

int request(const std::string& key)
{
    return DataAbstraction::Healthmgr::AddHealthObject(
        "com.vexa.olvar.healthmgr", "/com/vexa/olvar/healthmgr", key);
}

TEST(AddHealthObject, SendsTheKeyAndWantsNoReply)
{
    const PrivateBus bus;
    FakeManager manager;
    EXPECT_EQ(request("/com/vexa/olvar/health/a"), 0);
    const auto& requests = manager.waitFor(1);
    EXPECT_EQ(requests[0].member, "com.vexa.olvar.healthmgr.AddHealthObject");
    EXPECT_EQ(requests[0].key, "/com/vexa/olvar/health/a");
    EXPECT_FALSE(requests[0].wantsReply);
}

TEST(AddHealthObject, SucceedsWithoutAManager)
{
    const PrivateBus bus;
    EXPECT_EQ(request("/com/vexa/olvar/health/a"), 0);
}

TEST(AddHealthObject, ReportsAKeyThatTheBusCannotCarry)
{
    const PrivateBus bus;
    FakeManager manager;
    EXPECT_EQ(request("\xFF"), EINVAL);
    EXPECT_EQ(request("/a"), 0) << "and goes on";
    EXPECT_EQ(manager.waitFor(1)[0].key, "/a");
}

TEST(AddHealthObject, ConnectsAgainAfterTheBusWasLost)
{
    auto first = std::make_unique<PrivateBus>();
    EXPECT_EQ(request("/a"), 0);
    first.reset();
    const PrivateBus second;
    FakeManager manager;
    EXPECT_EQ(request("/b"), 0);
    EXPECT_EQ(manager.waitFor(1)[0].key, "/b");
}

} // namespace
} // namespace healthintf::test
