// SPDX-License-Identifier: Apache-2.0
/** @file The client of the System Event Log, with a log manager in another
 *  process. */

#include "bus_client.hpp"
#include "child.hpp"
#include "own_bus.hpp"
#include "private_bus.hpp"
#include "text.hpp"

#include <hmi_client_stub.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using SelClientStub::SELClient;

const char* const service = "com.vexa.olvar.logmgr";
const char* const path = "/com/vexa/olvar/logmgr/SEL";

/** A function that replies to a call. */
using Answer = int (*)(sd_bus_message* call);

/** The context of the log manager's callback. */
struct Manager
{
    Answer answer;
    const Child::Parent& parent;
};

int take(sd_bus_message* call, void* context, sd_bus_error* /*error*/)
{
    const auto* manager = static_cast<Manager*>(context);
    if (sd_bus_message_is_method_call(call, "com.vexa.olvar.logmgr.SEL",
                                      nullptr) <= 0)
    {
        return 0;
    }
    manager->parent.tell(std::string(sd_bus_message_get_member(call)) + " " +
                         sd_bus_message_get_signature(call, 1) + ": " +
                         arguments(call));
    return manager->answer(call);
}

/** Runs a log manager that tells its parent when it is ready and about each
 *  call. */
int manageLog(Answer answer, const Child::Parent& parent)
{
    Manager manager{answer, parent};
    sd_bus* bus = nullptr;
    if (sd_bus_open(&bus) < 0 ||
        sd_bus_add_object(bus, nullptr, path, take, &manager) < 0 ||
        sd_bus_request_name(bus, service, 0) < 0)
    {
        return 1;
    }
    parent.tell("ready");
    for (;;)
    {
        if (sd_bus_process(bus, nullptr) == 0)
        {
            sd_bus_wait(bus, UINT64_MAX);
        }
    }
}

class SelClient : public testing::Test
{
  protected:
    /** Starts a log manager in a child process. */
    void manage(Answer answer)
    {
        manager =
            std::make_unique<Child>([answer](const Child::Parent& parent) {
                return manageLog(answer, parent);
            });
        ASSERT_EQ(manager->hear(), "ready");
    }

    /** Stores a record through a new client. */
    int add(const std::vector<uint8_t>& record)
    {
        sdbusplus::bus_t connection = openBus();
        const std::unique_ptr<SELClient> client(SELClient::Init(connection));
        return client->addSEL({"Fan 1", "/sensors/fan1", 7, 255}, record,
                              recordId);
    }

    PrivateBus bus;
    /** Set before the first line is logged, so that every step is logged. */
    const int verbose = setenv("HEALTHINTF_LOG_LEVEL", "7", 1);
    std::unique_ptr<Child> manager;
    uint32_t recordId = 77;
};

TEST_F(SelClient, StoresARecordAndGivesItsIdentifier)
{
    manage([](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "u", 4000000000U);
    });
    EXPECT_EQ(add({1, 0, 255}), 0);
    EXPECT_EQ(recordId, 4000000000U);
    EXPECT_EQ(manager->hear(), "AddSEL (ssyy)ay: ('Fan 1', '/sensors/fan1', 7, "
                               "255) [1, 0, 255]");
}

TEST_F(SelClient, LogsTheIdentifier)
{
    manage([](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "u", 17U);
    });
    testing::internal::CaptureStderr();
    add({});
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("AddSEL(logmgr)  retruned RecordId = 17"));
}

TEST_F(SelClient, SendsAnEmptyRecordAsItIs)
{
    manage([](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "u", 1U);
    });
    EXPECT_EQ(add({}), 0);
    EXPECT_EQ(recordId, 1u);
    EXPECT_EQ(manager->hear(),
              "AddSEL (ssyy)ay: ('Fan 1', '/sensors/fan1', 7, 255) []");
}

TEST_F(SelClient, LeavesTheIdentifierWhenTheLogManagerRefuses)
{
    manage([](sd_bus_message* call) {
        return sd_bus_reply_method_errno(call, ENOSPC, nullptr);
    });
    EXPECT_EQ(add({1}), 10);
    EXPECT_EQ(recordId, 77u);
    EXPECT_EQ(manager->hear().substr(0, 6), "AddSEL") << "and asks no more";
}

TEST_F(SelClient, LeavesTheIdentifierWhenTheReplyIsNoNumber)
{
    manage([](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "s", "1");
    });
    EXPECT_EQ(add({1}), 10);
    EXPECT_EQ(recordId, 77u);
}

TEST_F(SelClient, LeavesTheIdentifierWhenTheReplyIsEmpty)
{
    manage([](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "");
    });
    EXPECT_EQ(add({1}), 10);
    EXPECT_EQ(recordId, 77u);
}

TEST_F(SelClient, FailsWithoutALogManager)
{
    EXPECT_EQ(add({1}), 10);
    EXPECT_EQ(recordId, 77u);
}

TEST_F(SelClient, FailsWhenTheLogManagerDiesWithTheCall)
{
    manage([](sd_bus_message*) -> int {
        _exit(0);
    });
    EXPECT_EQ(add({1}), 10);
    EXPECT_EQ(recordId, 77u);
}

TEST_F(SelClient, SendsNothingBeforeTheFirstRecord)
{
    using Members = std::vector<std::string>;
    manage([](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "u", 1U);
    });
    sdbusplus::bus_t connection = openBus();
    BusClient watcher;
    struct Watched
    {
        std::string sender;
        Members members;
    } watched{.sender = connection.get_unique_name(), .members = {}};
    const Members& seen = watched.members;
    const auto note = [](sd_bus_message* message, void* context,
                         sd_bus_error*) {
        auto* all = static_cast<Watched*>(context);
        const char* member = sd_bus_message_get_member(message);
        if (member != nullptr &&
            all->sender == sd_bus_message_get_sender(message))
        {
            all->members.emplace_back(member);
        }
        // Keeps sd-bus from replying to messages meant for others.
        return 1;
    };
    sd_bus_slot* filter = nullptr;
    ASSERT_GE(sd_bus_add_filter(watcher.get(), &filter, note, &watched), 0);
    const std::unique_ptr<sd_bus_slot, Unref> owner(filter);
    const std::string rule = "sender='" + watched.sender + "'";
    watcher.call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                 "org.freedesktop.DBus.Monitoring", "BecomeMonitor", "asu", 1,
                 rule.c_str(), 0U);

    const std::unique_ptr<SELClient> client(SELClient::Init(connection));
    delete SELClient::Init(connection);
    connection.new_signal("/a", "com.example", "Marker").signal_send();
    client->addSEL({}, {}, recordId);
    watcher.waitUntil("call", [&] {
        return seen.size() >= 2;
    });
    EXPECT_EQ(seen, (Members{"Marker", "AddSEL"}));
}

} // namespace
} // namespace healthintf::test
