// SPDX-License-Identifier: Apache-2.0
/** @file Calls of services. The bus itself serves as one; what else goes wrong
 *  is seen in test_healthctl_sel.cpp. */

#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <string>

#include <bus_calls.hpp>
#include <service_client.hpp>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

constexpr Service theBus{
    .busName = "org.freedesktop.DBus", .name = "busd", .role = "the bus"};

constexpr ServiceMethod makeMethod(const char* member)
{
    return {.path = "/org/freedesktop/DBus",
            .interface = "org.freedesktop.DBus",
            .member = member,
            .changes = false,
            .callers = "root"};
}

class ServiceCalls : public testing::Test
{
  protected:
    /** Calls a method without arguments. */
    static MessagePtr call(const Service& service, const ServiceMethod& method)
    {
        const ServiceClient client(service);
        return client.reply(method, client.newCall(method));
    }

    /** Expects an Error with this code and text. */
    static void expectError(ExitCode code, const std::string& text,
                            const std::function<void()>& request)
    {
        try
        {
            request();
            ADD_FAILURE() << "no error";
        }
        catch (const Error& e)
        {
            EXPECT_EQ(e.code(), code);
            EXPECT_THAT(e.what(), HasSubstr(text));
        }
    }

    test::PrivateBus bus;
};

TEST_F(ServiceCalls, ReturnTheReply)
{
    const char* id = "";
    const MessagePtr answer = call(theBus, makeMethod("GetId"));
    ASSERT_GT(sd_bus_message_read(answer.get(), "s", &id), 0);
    EXPECT_STRNE(id, "");
}

TEST_F(ServiceCalls, FailWithTheServicesOwnError)
{
    try
    {
        call(theBus, makeMethod("NoSuchMethod"));
        ADD_FAILURE() << "no error";
    }
    catch (const Refusal& e)
    {
        EXPECT_EQ(e.name(), SD_BUS_ERROR_UNKNOWN_METHOD);
        EXPECT_EQ(e.code(), ExitCode::failed);
        EXPECT_STRNE(e.what(), "");
    }
}

TEST_F(ServiceCalls, SayThatTheServiceDoesNotRun)
{
    const Service absent{
        .busName = "com.vexa.absent", .name = "absentd", .role = "the absent"};
    expectError(ExitCode::unavailable, "absentd is not running; start it", [&] {
        call(absent, makeMethod("GetId"));
    });
}

TEST_F(ServiceCalls, SayThatTheBusHasEnded)
{
    const ServiceClient client(theBus);
    const ServiceMethod method = makeMethod("GetId");
    const MessagePtr message = client.newCall(method);
    bus.kill();
    expectError(ExitCode::unavailable,
                "the bus ended before busd answered; see the log of the bus",
                [&] {
                    client.reply(method, message);
                });
}

TEST_F(ServiceCalls, SayThatAReplyCannotBeRead)
{
    const ServiceClient client(theBus);
    const ServiceMethod method = makeMethod("GetId");
    const MessagePtr answer = client.reply(method, client.newCall(method));
    expectError(ExitCode::failed,
                "see whether busd and healthctl are of one version", [&] {
                    client.parse([&] {
                        uint32_t number = 0;
                        host::checkBus(
                            "number",
                            sd_bus_message_read(answer.get(), "u", &number));
                        return number;
                    });
                });
}

} // namespace
} // namespace healthintf::healthctl
