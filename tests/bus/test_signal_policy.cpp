// SPDX-License-Identifier: Apache-2.0
/** @file Who may send which signal under the installed policies, to everybody
 *  or to one service. */

#include "bus_client.hpp"
#include "installed_policy.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

constexpr const char* manager = "com.vexa.olvar.healthmgr";
const std::string root = "/com/vexa/olvar/health";
const std::string nodes = std::string(manager) + ".HealthStatus";
const std::string entries = std::string(manager) + ".FaultEntry";
const std::string anything = "com.example.Any";

/** The callers by the names in the tests' messages. */
const std::map<std::string, Caller> callers{
    {"stranger", Caller::stranger},     {"reporter", Caller::reporter},
    {"operator", Caller::operatorUser}, {"healthmgr", Caller::healthmgr},
    {"logmgr", Caller::logmgr},
};

using Names = std::set<std::string>;

// healthmgr's user is in the group of reporters.
const Names reporters{"reporter", "healthmgr"};
// healthmgr hides what operators have silenced.
const Names operators{"operator", "healthmgr"};
const Names healthmgr{"healthmgr"};
const Names logmgr{"logmgr"};
const Names nobodyElse;

struct Signal
{
    std::string path;
    std::string interface;
    std::string member;
};

/** Owns the names of both services, so that it receives what is sent to them.
 */
class SignalPolicy : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (geteuid() != 0)
        {
            GTEST_SKIP() << "needs root, to become another user";
        }
        letOthersIn(bus);
        for (const char* name : {manager, logService})
        {
            ASSERT_GE(sd_bus_request_name(client.get(), name, 0), 0);
        }
        const auto take = [](sd_bus_message* message, void* context,
                             sd_bus_error*) {
            const char* text = nullptr;
            if (sd_bus_message_read(message, "s", &text) > 0)
            {
                static_cast<Names*>(context)->insert(text);
            }
            return 0;
        };
        ASSERT_GE(sd_bus_add_match(client.get(), nullptr, "type='signal'", take,
                                   &heard),
                  0);
    }

    /** Sends a signal as each caller and expects that only the allowed ones are
     *  received. */
    void expectSenders(const Signal& signal, const Names& senders)
    {
        heard.clear();
        Names expected;
        for (const std::string to : {"", manager, logService})
        {
            for (const auto& [name, caller] : callers)
            {
                const std::string text = name + " to '" + to + "'";
                std::vector<std::string> command{
                    "emit",        signal.path, signal.interface,
                    signal.member, "s",         text};
                if (!to.empty())
                {
                    command.insert(command.begin() + 1, "--destination=" + to);
                }
                busctlAs(caller, command);
                // Reports may only be broadcast, which reaches healthmgr too.
                if (senders.count(name) != 0 &&
                    (to.empty() || senders != reporters))
                {
                    expected.insert(text);
                }
            }
        }
        client.catchUp();
        // The bus's own signals about callers' connections are none of these.
        std::erase_if(heard, [](const std::string& text) {
            return text.find(" to '") == std::string::npos;
        });
        EXPECT_EQ(heard, expected)
            << signal.path << " " << signal.interface << " " << signal.member;
    }

    PrivateBus bus{systemRules + installedRules(manager) +
                   installedRules(logService)};
    BusClient client;
    Names heard;
};

TEST_F(SignalPolicy, LetsOnlyReportersReportHealthAndAnnounceFaults)
{
    expectSenders({"/mine", nodes, "HealthStatusUpdate"}, reporters);
    expectSenders({"/mine", entries, "FaultEntryAdded"}, reporters);
    expectSenders({"/mine", entries, "FaultEntryRemoved"}, reporters);
    expectSenders({root, nodes, "HealthStatusUpdate"}, reporters);
}

TEST_F(SignalPolicy, LetsOnlyReportersAnnounceFaultEntries)
{
    expectSenders(
        {root, "org.freedesktop.DBus.ObjectManager", "InterfacesAdded"},
        reporters);
    expectSenders(
        {root, "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved"},
        reporters);
    expectSenders(
        {root, "org.freedesktop.DBus.Properties", "PropertiesChanged"},
        reporters);
}

TEST_F(SignalPolicy, LetsOnlyOperatorsAndTheHealthManagerHideFaults)
{
    expectSenders({root, manager, "HideFaultForSensor"}, operators);
    expectSenders({"/else", manager, "HideFaultForSensor"}, nobodyElse);
    expectSenders({"/mine", entries, "HideFaultForSensor"}, nobodyElse);
}

TEST_F(SignalPolicy, LetsOnlyTheHealthManagerSendNotifications)
{
    expectSenders({"/com/vexa/olvar/notification",
                   "com.vexa.olvar.Notification", "Notified"},
                  healthmgr);
}

TEST_F(SignalPolicy, LetsOnlyTheLogManagerAnnounceTheLog)
{
    expectSenders({logPath, logInterface, "ClearedSelEntries"}, logmgr);
    expectSenders({logPath, logInterface, "SignalSELEvent"}, logmgr);
    expectSenders({std::string(logPath) + "/7", logInterface, "SignalSELEvent"},
                  logmgr);
    expectSenders({logPath, anything, "Any"}, logmgr);
}

TEST_F(SignalPolicy, LetsNobodySendUnusedSignals)
{
    expectSenders({"/mine", nodes, "Any"}, nobodyElse);
    expectSenders({"/mine", entries, "Any"}, nobodyElse);
    expectSenders({root, manager, "Any"}, nobodyElse);
    expectSenders({root, anything, "HideFaultForSensor"}, nobodyElse);
}

TEST_F(SignalPolicy, LeavesOtherInterfacesAlone)
{
    expectSenders({"/else", anything, "Any"},
                  {"stranger", "reporter", "operator", "healthmgr", "logmgr"});
}

} // namespace
} // namespace healthintf::test
