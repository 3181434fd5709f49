// SPDX-License-Identifier: Apache-2.0
/** @file The result of setting an attribute when healthmgr does not. */

#include "bus_client.hpp"
#include "config_manager/protocol.hpp"
#include "false_manager.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

constexpr const char* service = "com.vexa.olvar.healthmgr";

/** A program that sets attributes on command. */
class Setter
{
  public:
    /** @return the status of the call */
    int set(const std::string& words)
    {
        return std::stoi(process.ask("set " + words));
    }

    std::string errors() const
    {
        return process.errors();
    }

    Process process{{NOTIFICATION_CLIENT, "own-loop"}};
};

class AttributeCall : public testing::Test
{
  protected:
    Process runningManager()
    {
        Process manager({HEALTHMGR});
        client.waitUntil("manager", [this] {
            return !client.findOwner(service).empty();
        });
        return manager;
    }

    /** Expects that a call fails after its timeout and no later. */
    void expectTimeout()
    {
        const auto start = Clock::now();
        EXPECT_EQ(setter.set("a 6"), ETIMEDOUT);
        const auto taken = Clock::now() - start;
        EXPECT_GE(taken, std::chrono::milliseconds(4900));
        EXPECT_LT(taken, std::chrono::seconds(10));
    }

    PrivateBus bus;
    BusClient client;
    Setter setter;
};

TEST_F(AttributeCall, FailsAtOnceWithoutAHealthManager)
{
    EXPECT_EQ(setter.set("a 5"), EHOSTUNREACH);
    EXPECT_THAT(setter.errors(), HasSubstr("an attribute was not set: "));
    EXPECT_THAT(setter.errors(), HasSubstr("(check that healthmgr runs)"));
    EXPECT_EQ(setter.set("a 5"), EHOSTUNREACH);
    EXPECT_EQ(setter.errors().find("not set"), setter.errors().rfind("not set"))
        << "logged once";
}

TEST_F(AttributeCall, StartsTheHealthManager)
{
    bus.activate(service, HEALTHMGR);
    EXPECT_EQ(setter.set("a 5"), 0);
    EXPECT_FALSE(client.findOwner(service).empty());
}

TEST_F(AttributeCall, WaitsFiveSecondsForAHealthManagerThatIsStopped)
{
    const Process manager = runningManager();
    EXPECT_EQ(setter.set("a 5"), 0);
    manager.signal(SIGSTOP);
    expectTimeout();
    EXPECT_THAT(
        setter.errors(),
        HasSubstr("no answer of healthmgr (it may be set nevertheless)"));
    manager.signal(SIGCONT);
    EXPECT_EQ(setter.set("a 7"), 0);
}

TEST_F(AttributeCall, WaitsFiveSecondsForABusThatIsStuck)
{
    const Process manager = runningManager();
    EXPECT_EQ(setter.set("a 5"), 0);
    bus.freeze();
    expectTimeout();
}

TEST_F(AttributeCall, WaitsFiveSecondsForABusThatDoesNotAnswerHello)
{
    bus.freeze();
    expectTimeout();
    EXPECT_THAT(setter.errors(), HasSubstr("unable to connect to the bus"));
}

TEST_F(AttributeCall, FailsWhenTheHealthManagerEndsDuringTheCall)
{
    {
        FalseManager manager;
        setter.process.tell("set a 5");
        manager.waitForACall();
    }
    EXPECT_EQ(setter.process.hear(), std::to_string(ETIMEDOUT));
}

TEST_F(AttributeCall, MayHaveSetTheAttributeWhenTheBusEndsDuringTheCall)
{
    FalseManager manager;
    setter.process.tell("set a 5");
    manager.waitForACall();
    bus.kill();
    EXPECT_EQ(setter.process.hear(), std::to_string(ECONNRESET));
    EXPECT_THAT(setter.errors(), HasSubstr("the bus ended before healthmgr "
                                           "answered (it may be set "
                                           "nevertheless)"));
}

TEST_F(AttributeCall, AsksToRestartAProgramThatKeepsALostConnection)
{
    EXPECT_EQ(setter.set("a 5"), EHOSTUNREACH);
    bus.kill();
    const PrivateBus second;
    setter.set("a 5");
    EXPECT_EQ(setter.set("a 5"), ENOTCONN);
    EXPECT_THAT(setter.errors(),
                HasSubstr("Transport endpoint is not connected (restart this "
                          "program: it keeps a lost connection)"));
}

TEST_F(AttributeCall, PassesOnNumberAndTextOfTheHealthManagersError)
{
    const auto findAnswer = [](const std::string& error) {
        FalseManager manager(error);
        Setter asking;
        asking.process.tell("set a 5");
        manager.waitForACall();
        const std::string number = asking.process.hear();
        return number + " " + asking.errors();
    };
    const auto isAnswer = [](int number, const std::string& words) {
        return testing::AllOf(testing::StartsWith(std::to_string(number) + " "),
                              HasSubstr("CfgSetAttributeInt: " + words + "\n"));
    };
    for (const int code : {EINVAL, EDQUOT, EACCES, ENOSPC, EIO})
    {
        EXPECT_THAT(findAnswer(host::getErrorName(code)),
                    isAnswer(code, "its own words"));
    }
    EXPECT_THAT(findAnswer("com.example.Other"),
                isAnswer(EIO, "an attribute was not set: its own words (see "
                              "what healthmgr logs)"));
    EXPECT_THAT(findAnswer("org.freedesktop.systemd1.UnitMasked"),
                isAnswer(EHOSTUNREACH, "an attribute was not set: its own "
                                       "words (check that healthmgr runs)"));
}

TEST_F(AttributeCall, NamesTheAllowedUsersWhenTheBusPolicyDeniesIt)
{
    const PrivateBus strict(
        "<policy context=\"default\"><allow own=\"*\"/>"
        "<allow send_destination=\"*\"/><allow eavesdrop=\"true\"/>"
        "<deny send_type=\"method_call\" "
        "send_interface=\"com.vexa.olvar.healthmgr.Attributes\"/>"
        "</policy>");
    strict.activate(service, HEALTHMGR);
    Setter denied;
    EXPECT_EQ(denied.set("a 5"), EACCES);
    EXPECT_THAT(denied.errors(),
                HasSubstr("an attribute was not set: this user may not set "
                          "attributes: the bus policy denies it (group "
                          "healthintf-operators may)"));
}

} // namespace
} // namespace healthintf::test
