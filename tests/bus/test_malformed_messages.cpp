// SPDX-License-Identifier: Apache-2.0
/** @file Malformed messages of any process do not end a daemon, whatever kind
 *  of event loop it uses. */

#include "bus_client.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::test
{
namespace
{

const std::string root = "/com/vexa/olvar/health";
const std::string key = root + "/a";

class MalformedMessages : public testing::TestWithParam<const char*>
{
  protected:
    template <typename... Args>
    void send(const char* path, const char* interface, const char* member,
              const char* types, Args... args)
    {
        ASSERT_GE(sd_bus_emit_signal(client.get(), path, interface, member,
                                     types, args...),
                  0);
    }

    template <typename... Args>
    void update(const char* types, Args... args)
    {
        send("/x", "com.vexa.olvar.healthmgr.HealthStatus",
             "HealthStatusUpdate", types, args...);
    }

    template <typename... Args>
    void hide(const char* types, Args... args)
    {
        send(root.c_str(), "com.vexa.olvar.healthmgr", "HideFaultForSensor",
             types, args...);
    }

    template <typename... Args>
    void cleared(const char* types, Args... args)
    {
        send("/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
             "ClearedSelEntries", types, args...);
    }

    PrivateBus bus;
    BusClient client;
};

TEST_P(MalformedMessages, DoNotEndADaemon)
{
    Component daemon(key, 2, GetParam());
    const char* at = key.c_str();

    update("");
    update("s", at);
    update("ss", at, "child");
    update("ssi", at, "child", 4);
    update("sst", at, "child", uint64_t{4});
    update("sss", at, "child", "4");
    update("sou", at, "/child", 4u);
    update("s(su)", at, "child", 4u);
    update("sas", at, 1, "child");
    update("u", 4u);

    hide("");
    hide("s", "true");
    hide("b", 1);
    hide("bs", 1, at);
    hide("bss", 1, at, "/sensor");
    hide("bssu", 1, at, "/sensor", 7u);
    hide("bsss", 1, at, "/sensor", "7");
    hide("bous", 1, at, 7u, "/sensor");
    hide("ussi", 1u, at, "/sensor", 7);
    hide("b(ssi)", 1, at, "/sensor", 7);
    hide("v", "b", 1);

    cleared("");
    cleared("s", "anything");
    cleared("a{sv}", 0);

    // The valid report behind the malformed ones takes effect.
    update("ssu", at, (key + "/child").c_str(), 4u);
    client.waitForHealth(key, 4);
    update("ssu", at, (key + "/child").c_str(), 0u);
    client.waitForHealth(key, 2);
    daemon.add(key, "BAD", "/sensor", 1);
    client.waitForHealth(key, 4);
    hide("bssi", 1, at, "", 0);
    client.waitForHealth(key, 2);
    hide("bssi", 0, at, "", 0);
    client.waitForHealth(key, 4);
    daemon.end();

    const std::string log = daemon.process.errors();
    EXPECT_THAT(log, testing::HasSubstr("healthStatusCallbackHandler: "
                                        "sd_bus_message_read_basic string"));
    EXPECT_THAT(log,
                testing::HasSubstr("healthStatusCallbackHandler: "
                                   "sd_bus_message_read_basic fundamental"));
    EXPECT_THAT(log, testing::HasSubstr("hideFaultSignalHandler: "
                                        "sd_bus_message_read_basic bool"));
}

TEST_P(MalformedMessages, AreAnsweredWithAnErrorWhenTheyAreCalls)
{
    Component daemon(key, 2, GetParam());
    const auto error = [&](const char* path, const char* interface,
                           const char* member, const char* types,
                           auto... args) -> std::string {
        try
        {
            client.call(daemon.name().c_str(), path, interface, member, types,
                        args...);
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
        return "";
    };
    constexpr const char* properties = "org.freedesktop.DBus.Properties";
    constexpr const char* node = "com.vexa.olvar.healthmgr.HealthStatus";
    EXPECT_NE(error(key.c_str(), properties, "Set", "ssv", node, "HealthStatus",
                    "u", 4u),
              "");
    EXPECT_NE(error(key.c_str(), properties, "Get", "ss", node, "Other"), "");
    EXPECT_NE(error(key.c_str(), properties, "Get", "u", 1u), "");
    EXPECT_NE(error(key.c_str(), node, "HealthStatusUpdate", "ssu", "", "", 4u),
              "");
    EXPECT_NE(error("/elsewhere", node, "Any", ""), "");
    EXPECT_EQ(client.health(daemon.name(), key), 2u);
}

INSTANTIATE_TEST_SUITE_P(InEveryLoop, MalformedMessages,
                         testing::Values("sd-event", "own-loop"),
                         [](const auto& loop) {
                             return std::string(loop.param) == "sd-event"
                                        ? "SdEvent"
                                        : "OwnLoop";
                         });

} // namespace
} // namespace healthintf::test
