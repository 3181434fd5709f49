// SPDX-License-Identifier: Apache-2.0
/** @file Attributes and their notifications in several processes. */

#include "bus_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <platform/config_manager.h>
#include <platform/notification.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

const std::string prefix = "CfgMgr/1/AttributeChange/";
constexpr const char* service = "com.vexa.olvar.healthmgr";
constexpr const char* path = "/com/vexa/olvar/notification";
constexpr const char* interface = "com.vexa.olvar.Notification";
constexpr const char* member = "Notified";

/** A running notification-client. */
class Client
{
  public:
    explicit Client(const std::string& kind,
                    const std::string& name = "unused") :
        process({NOTIFICATION_CLIENT, kind, name})
    {}

    /** Sends the client a command and checks its answer. */
    void expect(const std::string& command, const std::string& answer)
    {
        EXPECT_EQ(process.ask(command), answer) << command << "\n"
                                                << process.errors();
    }

    void subscribe(const std::string& label, const std::string& attribute,
                   const std::string& action = "")
    {
        expect("subscribe " + label + " " + prefix + attribute + " " + action,
               "ok");
    }

    /** Checks the next line of the client. */
    void expectLine(const std::string& line)
    {
        EXPECT_EQ(process.hear(), line) << process.errors();
    }

    /** Lets the client end normally. */
    void end()
    {
        process.endInput();
        EXPECT_EQ(process.wait(), 0) << process.errors();
    }

    Process process;
};

/** The line that a client prints for a notification. */
std::string heard(const std::string& label, const std::string& attribute,
                  const std::string& values, const std::string& source = "-")
{
    return label + " own " + source + " " + prefix + attribute + " " + values;
}

class Notifications : public testing::Test
{
  protected:
    Notifications()
    {
        bus.activate(service, HEALTHMGR);
    }

    /** Makes the test the sender that receivers believe. */
    void takeTheNameOfTheHealthManager() const
    {
        ASSERT_GE(sd_bus_request_name(sender.get(), service, 0), 0);
    }

    /** Sends a notification with any record.
     *
     *  @param[in] receiver a unique name; empty for everybody */
    void forge(const std::string& name, const Bytes& record,
               const std::string& receiver = "") const
    {
        sd_bus_message* raw = nullptr;
        sd_bus_message_new_signal(sender.get(), &raw, path, interface, member);
        const MessagePtr message(raw);
        if (!receiver.empty())
        {
            sd_bus_message_set_destination(raw, receiver.c_str());
        }
        sd_bus_message_append(raw, "s", name.c_str());
        sd_bus_message_append_array(raw, 'y', record.data(), record.size());
        ASSERT_GE(sd_bus_send(sender.get(), raw, nullptr), 0);
        ASSERT_GE(sd_bus_flush(sender.get()), 0);
    }

    PrivateBus bus;
    BusClient sender;
};

/** A record with this source offset and zeros otherwise. */
Bytes recordWithOffset(uint8_t offset)
{
    Bytes record(56);
    record[CFGMGR_CHANGE_SOURCE_OFFSET] = offset;
    return record;
}

/** The record of a change between two values of one byte, without a source. */
Bytes makeRecord(uint8_t value, uint8_t previous)
{
    Bytes record = recordWithOffset(0);
    record[CFGMGR_CHANGE_NEW_VALUE_OFFSET] = value;
    record[CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET] = previous;
    return record;
}

TEST_F(Notifications, ReachEveryKindOfDaemonOnTheThreadThatSubscribed)
{
    std::vector<std::unique_ptr<Client>> daemons;
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        daemons.push_back(std::make_unique<Client>(kind));
        daemons.back()->subscribe("one", "a");
    }
    Client third("own-loop");
    third.expect("set a 5 operator", "0");
    third.expect("set a -1", "0");
    for (const auto& daemon : daemons)
    {
        daemon->expectLine(heard("one", "a", "5 0", "operator"));
        daemon->expectLine(heard("one", "a", "4294967295 5"));
        daemon->end();
        EXPECT_EQ(daemon->process.errors(), "");
    }
}

TEST_F(Notifications, ReachEachThreadOfAProcess)
{
    Client daemon("threads", prefix + "a");
    daemon.expectLine("second ok");
    daemon.subscribe("first", "b");
    Client other("own-loop");
    other.expect("set a 5", "0");
    daemon.expectLine(heard("second", "a", "5 0"));
    other.expect("set b 6", "0");
    daemon.expectLine(heard("first", "b", "6 0"));
    daemon.end();
}

TEST_F(Notifications, ReachTheProcessThatMadeTheChange)
{
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        Client daemon(kind);
        daemon.subscribe("one", kind);
        daemon.expect(std::string("set ") + kind + " 5 me", "0");
        daemon.expectLine(heard("one", kind, "5 0", "me"));
    }
}

TEST_F(Notifications, AreSentOnlyForChanges)
{
    Client daemon("sd-event");
    daemon.subscribe("one", "a");
    Client other("own-loop");
    other.expect("set a 0", "0");
    other.expect("set a 0", "0");
    other.expect("set a 5", "0");
    other.expect("set a 5", "0");
    other.expect("set a 6", "0");
    daemon.expectLine(heard("one", "a", "0 0"));
    daemon.expectLine(heard("one", "a", "5 0"));
    daemon.expectLine(heard("one", "a", "6 5"));
}

TEST_F(Notifications, AreSentForAttributesThatOutliveEveryProcess)
{
    Client first("own-loop");
    first.expect("set a 5", "0");
    first.process.kill();
    Client daemon("sd-event");
    daemon.subscribe("one", "a");
    daemon.expect("set a 5", "0");
    daemon.expect("set a 6", "0");
    daemon.expectLine(heard("one", "a", "6 5"));
}

TEST_F(Notifications, ReachEverybodyInTheOrderOfTheChanges)
{
    constexpr int writers = 4;
    constexpr int changes = 40;
    std::vector<std::unique_ptr<Client>> daemons;
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        daemons.push_back(std::make_unique<Client>(kind));
        daemons.back()->subscribe("one", "a");
    }
    std::vector<std::unique_ptr<Client>> counters;
    for (int i = 0; i < writers; ++i)
    {
        counters.push_back(std::make_unique<Client>("own-loop"));
        counters.back()->process.tell("count a " +
                                      std::to_string(1000 * (i + 1)) + " " +
                                      std::to_string(changes));
    }
    for (const auto& counter : counters)
    {
        counter->expectLine("ok");
    }
    for (const auto& daemon : daemons)
    {
        std::string last = "0";
        for (int i = 0; i < writers * changes; ++i)
        {
            std::istringstream words(daemon->process.hear());
            std::string word;
            std::string value;
            std::string previous;
            words >> word >> word >> word >> word >> value >> previous;
            ASSERT_EQ(previous, last) << i;
            last = value;
        }
    }
}

TEST_F(Notifications, AreDroppedWhenTheirRecordIsMalformed)
{
    takeTheNameOfTheHealthManager();
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        Client daemon(kind);
        daemon.subscribe("one", kind);
        const std::string name = prefix + kind;
        forge(name, {});
        forge(name, Bytes(55));
        forge(name, recordWithOffset(56));
        forge(name, recordWithOffset(255));
        forge(name, recordWithOffset(4));
        forge(name + "else", {});
        forge(name, makeRecord(5, 0));
        daemon.expectLine(heard("one", kind, "5 0"));
        const std::string errors = daemon.process.errors();
        EXPECT_EQ(std::ranges::count(errors, '\n'), 5) << errors;
        EXPECT_THAT(errors, HasSubstr("the record of " + name));
        EXPECT_THAT(errors, HasSubstr("is malformed: dropped"));
    }
}

TEST_F(Notifications, AreDroppedWhenTheirSignalIsMalformed)
{
    takeTheNameOfTheHealthManager();
    Client daemon("sd-event");
    daemon.subscribe("one", "a");
    const std::string name = prefix + "a";
    const auto emit = [&](const char* types, auto... arguments) {
        ASSERT_GE(sd_bus_emit_signal(sender.get(), path, interface, member,
                                     types, arguments...),
                  0);
    };
    emit("");
    emit("s", name.c_str());
    emit("u", 5);
    emit("ss", name.c_str(), "text");
    emit("says", name.c_str(), 0, "more");
    forge(name, makeRecord(5, 0));
    daemon.expectLine(heard("one", "a", "5 0"));
    EXPECT_THAT(daemon.process.errors(),
                HasSubstr("is no notification: dropped"));
}

TEST_F(Notifications, DoNotFloodTheLogWhenTheyAreMalformed)
{
    takeTheNameOfTheHealthManager();
    Client daemon("sd-event");
    daemon.subscribe("one", "a");
    for (int i = 0; i < 1000; ++i)
    {
        ASSERT_GE(sd_bus_emit_signal(sender.get(), path, interface, member, ""),
                  0);
    }
    forge(prefix + "a", makeRecord(5, 0));
    daemon.expectLine(heard("one", "a", "5 0"));
    const std::string errors = daemon.process.errors();
    EXPECT_EQ(std::ranges::count(errors, '\n'), 10);
}

TEST_F(Notifications, MayHaveAnyRecordWhenTheyAreNotAboutAttributes)
{
    takeTheNameOfTheHealthManager();
    Client daemon("sd-event");
    daemon.expect("subscribe one Other/Name", "ok");
    forge("Other/Name", {});
    daemon.expectLine("one own - Other/Name");
    forge("Other/Name", Bytes(56, 1));
    daemon.expectLine("one own - Other/Name 16843009 16843009");
}

TEST_F(Notifications, AreBelievedOnlyFromTheHealthManager)
{
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        Client daemon(kind);
        // Subscribes before healthmgr runs.
        daemon.subscribe("one", kind);
        const std::string name = prefix + kind;
        const std::string receiver = daemon.process.ask("name");
        const auto forgeTwice = [&] {
            forge(name, makeRecord(9, 0));
            forge(name, makeRecord(9, 0), receiver);
        };
        forgeTwice();
        daemon.expect(std::string("set ") + kind + " 5", "0");
        daemon.expectLine(heard("one", kind, "5 0"));
        forgeTwice();
        daemon.expect(std::string("set ") + kind + " 6", "0");
        daemon.expectLine(heard("one", kind, "6 5"));
        daemon.end();
    }
}

TEST_F(Notifications, AreReceivedFromARestartedHealthManager)
{
    Client daemon("sd-event");
    daemon.subscribe("one", "a");
    for (const std::string value : {"5 0", "6 5", "7 6"})
    {
        Process manager({HEALTHMGR});
        sender.waitUntil("manager", [this] {
            return !sender.findOwner(service).empty();
        });
        daemon.expect("set a " + value.substr(0, 1), "0");
        daemon.expectLine(heard("one", "a", value));
        manager.kill();
        sender.waitUntil("end of the manager", [this] {
            return sender.findOwner(service).empty();
        });
        forge(prefix + "a", makeRecord(9, 0));
    }
}

TEST_F(Notifications, ReachSubscriptionsInTheirOrder)
{
    Client daemon("own-loop");
    for (const char* label : {"z", "a", "m"})
    {
        daemon.subscribe(label, "a");
    }
    daemon.expect("set a 5", "0");
    for (const char* label : {"z", "a", "m"})
    {
        daemon.expectLine(heard(label, "a", "5 0"));
    }
}

TEST_F(Notifications, MayEndSubscriptionsFromACallback)
{
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        const std::string attribute = kind;
        Client daemon(kind);
        daemon.subscribe("itself", attribute, "free itself");
        daemon.subscribe("first", attribute, "free later");
        daemon.subscribe("later", attribute);
        daemon.subscribe("last", attribute, "free last");
        daemon.expect("set " + attribute + " 5", "0");
        daemon.expectLine(heard("itself", attribute, "5 0"));
        daemon.expectLine("ok");
        daemon.expectLine(heard("first", attribute, "5 0"));
        daemon.expectLine("ok");
        daemon.expectLine(heard("last", attribute, "5 0"));
        daemon.expectLine("ok");
        daemon.end();
    }
}

TEST_F(Notifications, MayEndTheLastSubscriptionOfAThreadFromItsCallback)
{
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        const std::string attribute = kind;
        Client daemon(kind);
        for (int i = 1; i <= 3; ++i)
        {
            daemon.subscribe("one", attribute, "free one");
            const std::string value = std::to_string(i);
            daemon.expect("set " + attribute + " " + value, "0");
            daemon.expectLine(
                heard("one", attribute, value + " " + std::to_string(i - 1)));
            daemon.expectLine("ok");
        }
        daemon.end();
        EXPECT_EQ(daemon.process.errors(), "");
    }
}

TEST_F(Notifications, MayBeginSubscriptionsFromACallback)
{
    Client daemon("sd-event");
    daemon.subscribe("one", "a", "subscribe two " + prefix + "a");
    daemon.expect("set a 5", "0");
    daemon.expectLine(heard("one", "a", "5 0"));
    daemon.expectLine("ok");
    daemon.expect("free one", "ok");
    daemon.expect("set a 6", "0");
    daemon.expectLine(heard("two", "a", "6 5"));
}

TEST_F(Notifications, MaySetAttributesFromACallback)
{
    for (const char* kind : {"sd-event", "own-loop", "own-connection"})
    {
        const std::string attribute = kind;
        Client daemon(kind);
        daemon.subscribe("one", attribute, "set " + attribute + "2 7 me");
        daemon.subscribe("two", attribute + "2");
        daemon.expect("set " + attribute + " 5", "0");
        daemon.expectLine(heard("one", attribute, "5 0"));
        daemon.expectLine("0");
        daemon.expectLine(heard("two", attribute + "2", "7 0", "me"));
    }
}

TEST_F(Notifications, ContinueAfterACallbackThrows)
{
    Client daemon("sd-event");
    daemon.subscribe("one", "a", "throw");
    daemon.subscribe("two", "a");
    for (const char* value : {"5 0", "6 5"})
    {
        daemon.expect("set a " + std::string(value, 1), "0");
        daemon.expectLine(heard("one", "a", value));
        daemon.expectLine(heard("two", "a", value));
    }
    EXPECT_THAT(
        daemon.process.errors(),
        HasSubstr("a callback of " + prefix + "a: a callback's own failure"));
}

TEST_F(Notifications, NeedOneMatchRuleForAllSubscriptions)
{
    Client daemon("sd-event");
    constexpr int moreThanTheBusAllows = 600;
    for (int i = 0; i < moreThanTheBusAllows; ++i)
    {
        daemon.subscribe(std::to_string(i), "a" + std::to_string(i));
    }
    daemon.expect("set a599 5", "0");
    daemon.expectLine(heard("599", "a599", "5 0"));
}

void ignore(const char*, const char*, const uint8_t*, uint64_t, void*)
{}

TEST(NotificationsOfALostBus, AreReceivedAgainByLaterSubscriptions)
{
    auto first = std::make_unique<PrivateBus>();
    void* lost = LQOVS_receive_signal("name", ignore, nullptr);
    ASSERT_NE(lost, nullptr);
    {
        sd_bus* connection = nullptr;
        ASSERT_GE(sd_bus_default(&connection), 0);
        first.reset();
        while (sd_bus_process(connection, nullptr) >= 0 &&
               sd_bus_is_open(connection) > 0)
        {
            sd_bus_wait(connection, UINT64_MAX);
        }
        sd_bus_unref(connection);
    }
    const PrivateBus second;
    second.activate(service, HEALTHMGR);
    int calls = 0;
    void* later = LQOVS_receive_signal(
        (prefix + "a").c_str(),
        [](const char*, const char*, const uint8_t*, uint64_t, void* context) {
            ++*static_cast<int*>(context);
        },
        &calls);
    ASSERT_NE(later, nullptr);
    Client("own-loop").expect("set a 5", "0");
    sd_bus* connection = nullptr;
    ASSERT_GE(sd_bus_default(&connection), 0);
    while (sd_bus_process(connection, nullptr) > 0)
    {}
    sd_bus_unref(connection);
    EXPECT_EQ(calls, 1);
    LQOVS_receive_signal_free(lost);
    LQOVS_receive_signal_free(later);
}

TEST_F(Notifications, AreNotSentForAnAttributeWithoutRoom)
{
    nlohmann::json attributes = nlohmann::json::object();
    for (int i = 0; i < 4096; ++i)
    {
        attributes[std::to_string(i)] = 1;
    }
    bus.folder().write(
        "state/config/attributes.json",
        nlohmann::json{{"version", 1}, {"attributes", attributes}}.dump());
    Client client("own-loop");
    client.expect("set a 5", std::to_string(EDQUOT));
    client.expect("set 7 5", "0");
    client.end();
    EXPECT_THAT(client.process.errors(),
                HasSubstr("(it is full: no further attribute can be set for "
                          "the first time)"));
}

TEST_F(Notifications, AreNotSentForAnAttributeWhoseFolderCannotBeMade)
{
    bus.folder().write("file", "no folder");
    const std::string state = bus.folder().path() / "file";
    setenv("HEALTHINTF_STATE_DIR", state.c_str(), 1);
    const Process manager({HEALTHMGR});
    sender.waitUntil("manager", [this] {
        return !sender.findOwner(service).empty();
    });
    Client client("own-loop");
    client.expect("set a 5", std::to_string(ENOTDIR));
    client.expect("set a 5", std::to_string(ENOTDIR));
    client.end();
    EXPECT_THAT(
        client.process.errors(),
        HasSubstr("an attribute was not set: attributes " + state + "/config"));
    EXPECT_THAT(client.process.errors(),
                HasSubstr("(see the folder's files and permissions)"));
    EXPECT_EQ(client.process.errors().find("not set"),
              client.process.errors().rfind("not set"))
        << "logged once";
}

} // namespace
} // namespace healthintf::test
