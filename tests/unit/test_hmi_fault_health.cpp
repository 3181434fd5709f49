// SPDX-License-Identifier: Apache-2.0
#include "component_test.hpp"
#include "stopped_clock.hpp"
#include "text.hpp"

#include <hmi_fault_health.hpp>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::HasSubstr;

class FaultAndHealthTest : public ComponentTest
{
  protected:
    FaultAndHealthTest()
    {
        clockReads = clockStart;
    }

    const std::string clearRule =
        "type='signal',path='/com/vexa/olvar/logmgr/SEL',"
        "interface='com.vexa.olvar.logmgr.SEL',member='ClearedSelEntries',";
    const std::string hideRule =
        "type='signal',path='/com/vexa/olvar/health',"
        "interface='com.vexa.olvar.healthmgr',member='HideFaultForSensor',";

    /** Adds the faults ONE, TWO and THREE, empties the journal, and returns
     *  their paths in this order. */
    Lines addThree(FaultAndHealth& object)
    {
        Lines paths;
        for (const auto& [severity, id] :
             {std::pair(1, "ONE"), std::pair(2, "TWO"), std::pair(1, "THREE")})
        {
            add(object, severity, id);
            for (const std::string& path : faults())
            {
                if (std::ranges::find(paths, path) == paths.end())
                {
                    paths.push_back(path);
                }
            }
        }
        journal().take();
        return paths;
    }

    /** Whether the library has left any object on its connection. */
    bool somethingIsLeft()
    {
        const MessagePtr nodes =
            connection.call(root.c_str(), "org.freedesktop.DBus.Introspectable",
                            "Introspect", "");
        return arguments(nodes.get()).find("ObjectManager") !=
                   std::string::npos ||
               arguments(nodes.get()).find("node name") != std::string::npos ||
               !platform().subscriptions.empty() ||
               platform().healthRecords.size() != 1 ||
               !platform().faultRecords.empty();
    }

    /** Whether the library still subscribes to any of its three signals. */
    bool somethingListens()
    {
        journal().take();
        connection.signal(root.c_str(), "com.vexa.olvar.healthmgr",
                          "HideFaultForSensor", "bssi", 1, key.c_str(), "", 0);
        connection.signal("/com/vexa/olvar/logmgr/SEL",
                          "com.vexa.olvar.logmgr.SEL", "ClearedSelEntries", "");
        connection.signal(root.c_str(), "com.vexa.olvar.healthmgr.HealthStatus",
                          "HealthStatusUpdate", "ssu", key.c_str(), "/x", 4u);
        return !journal().take().empty();
    }
};

TEST_F(FaultAndHealthTest, IsMadeInThisOrder)
{
    const auto object = make();
    ASSERT_NE(object, nullptr);
    Lines calls = journal().takeCalls();
    // The node's own calls are left out: its own test checks them.
    const auto nodeBegins = std::ranges::find(calls, "healthstatus_cluster");
    const auto nodeEnds =
        std::ranges::find_if(calls, [](const std::string& call) {
            return call.starts_with("LQOVS_receive_signal ");
        });
    ASSERT_LT(nodeBegins, nodeEnds);
    calls.erase(nodeBegins, nodeEnds);
    const std::string attribute =
        "LQOVS_receive_signal "
        "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#";
    Lines expected{"HealthStatus.get_map_by_path_prefixes [] "
                   "['/com/vexa/olvar/health']",
                   "sd_bus_add_object_manager /com/vexa/olvar/health",
                   attribute + "hideerrs", attribute + "oemLCDFlags"};
    if constexpr (seamSeesMatches<>)
    {
        expected.insert(expected.end(), {"sd_bus_add_match " + clearRule,
                                         "sd_bus_add_match " + hideRule});
    }
    EXPECT_EQ(calls, expected);
}

TEST_F(FaultAndHealthTest, LogsItsBeginningInThisOrder)
{
    const auto object = make();
    ASSERT_NE(object, nullptr);
    Lines lines = journal().takeApart().log;
    const std::string node = "7 271 hmi_health.#.";
    // The node's own lines are left out: its own test checks them.
    const auto nodeBegins = std::ranges::find(
        lines, node + "Init: Initalizing 2 for /com/vexa/olvar/health/a key");
    const auto nodeEnds = std::ranges::find(
        lines, node + "updateHealthStatusAndSendSignalInternal: Parent : "
                      "/com/vexa/olvar/health");
    ASSERT_NE(nodeEnds, lines.end());
    lines.erase(nodeBegins, nodeEnds + 1);

    const std::string made = "5 271 hmi_fault_health.#.FaultAndHealth: ";
    const std::string clear =
        "7 271 hmi_fault_health.#.RegisterForClearSELSignal: ";
    const std::string hide =
        "7 271 hmi_fault_health.#.RegisterForHideFaultsSignal: ";
    EXPECT_EQ(
        lines,
        (Lines{node + "CheckHealthStatusExist: Entry "
                      "path:/com/vexa/olvar/health",
               made + "FaultAndHealth constructor called",
               made + "Setting close on event loop exit to false",
               "8 271 hmi_cfg_handlers.#.RegisterForLCDAttributes Entry : LCD "
               "Attr register "
               "CfgMgr/1/AttributeChange/#system.embedded.1#lcd.1#hideerrs",
               clear + "Registered clear SEL  Signal Handler",
               clear + clearRule,
               hide + "Registered the hide Fault Signal Handler",
               hide + hideRule, made + "Registering for HideFault done",
               "7 271 hmi_fault_health.#.InitInternal: FaultAndHealth Created: "
               "/com/vexa/olvar/health/a"}));
}

TEST_F(FaultAndHealthTest, KeepsTheBusOpenWhenTheEventLoopEnds)
{
    const auto object = make();
    EXPECT_EQ(sd_bus_get_close_on_exit(connection.raw()), 0);
}

TEST_F(FaultAndHealthTest, ChecksNoParentOfTheRoot)
{
    platform().healthRecords.clear();
    const auto object = make(root);
    EXPECT_NE(object, nullptr);
    EXPECT_EQ(journal().count("AddHealthObject"), 0u);
    EXPECT_EQ(journal().count("log 7 271 hmi_health.#.CheckHealthStatusExist"),
              0u);
}

TEST_F(FaultAndHealthTest, AsksTheHealthManagerOnceForAMissingParent)
{
    const auto object = make(root + "/x/y");
    EXPECT_NE(object, nullptr);
    EXPECT_EQ(journal().take("AddHealthObject"),
              Lines{"AddHealthObject com.vexa.olvar.healthmgr "
                    "/com/vexa/olvar/healthmgr /com/vexa/olvar/health/x"});
}

TEST_F(FaultAndHealthTest, IsMadeWhateverTheRequestForItsParentReturns)
{
    journal().answer("AddHealthObject", 5);
    EXPECT_NE(make(root + "/x/y"), nullptr);
    EXPECT_EQ(journal().count("log 7 271 hmi_fault_health.#.InitInternal: "
                              "Parent /com/vexa/olvar/health/x doesn't exist, "
                              "send request to healthmgr"),
              1u);
}

TEST_F(FaultAndHealthTest, IsNotMadeWhenTheRequestForItsParentThrows)
{
    journal().fail("AddHealthObject", [] {
        throw std::runtime_error("no bus");
    });
    EXPECT_EQ(make(root + "/x/y"), nullptr);
    EXPECT_EQ(journal().lines().back(),
              "log 1 271 hmi_fault_health.#.InitInternal: no bus");
    EXPECT_FALSE(somethingIsLeft());
}

TEST_F(FaultAndHealthTest, IsNotMadeForTheManagerWithoutAParent)
{
    EXPECT_EQ(make(root + "/x/y", 2, true), nullptr);
    const std::string log = "271 hmi_fault_health.#.InitInternal: ";
    const Lines lines = journal().take();
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
              (Lines{"log 7 " + log +
                         "Parent /com/vexa/olvar/health/x doesn't exist, send "
                         "request to healthmgr",
                     "log 7 " + log +
                         "from HealthMgr but parent not found.. something "
                         "wrong",
                     "log 1 " + log + "invalid FaultAndHealth::Init request"}));
    EXPECT_FALSE(somethingIsLeft());
    EXPECT_FALSE(somethingListens());
}

TEST_F(FaultAndHealthTest, IsMadeForTheManagerWithAParent)
{
    const auto object = make(key, 0, true);
    EXPECT_NE(object, nullptr);
    EXPECT_EQ(health(), 0u);
}

TEST_F(FaultAndHealthTest, IsNotMadeForAKeyThatIsNoObjectPath)
{
    EXPECT_EQ(make("abc"), nullptr);
    EXPECT_EQ(journal().take("log 1"),
              (Lines{"log 1 271 hmi_health.#.GetParentKey: abc Error Parent "
                     "path not found ",
                     "log 1 271 hmi_fault_health.#.InitInternal: Failed to "
                     "create HealthStatus object"}));
    EXPECT_EQ(make(""), nullptr);
    EXPECT_FALSE(somethingIsLeft());
}

TEST_F(FaultAndHealthTest, LeavesNothingWhenTheObjectManagerIsRefused)
{
    journal().answer("sd_bus_add_object_manager", -ENOMEM);
    EXPECT_EQ(make(), nullptr);
    EXPECT_THAT(journal().lines().back(),
                HasSubstr("InitInternal: sd_bus_add_object_manager"));
    EXPECT_FALSE(somethingIsLeft());
    EXPECT_FALSE(somethingListens());
}

TEST_F(FaultAndHealthTest, LeavesNothingWhenTheNodeIsRefused)
{
    journal().answer("sd_bus_add_object_vtable", -EEXIST);
    EXPECT_EQ(make(), nullptr);
    EXPECT_EQ(journal().lines().back(),
              "log 1 271 hmi_fault_health.#.InitInternal: Failed to create "
              "HealthStatus object");
    EXPECT_FALSE(somethingIsLeft());
    EXPECT_FALSE(somethingListens());
}

TEST_F(FaultAndHealthTest, LeavesNothingWhenEitherMatchIsRefused)
{
    if constexpr (!seamSeesMatches<>)
    {
        GTEST_SKIP() << "this sdbusplus adds matches unseen";
    }
    // The node's match is added first.
    for (const unsigned before : {1u, 2u})
    {
        journal().answer("sd_bus_add_match", -ENOBUFS, before);
        EXPECT_EQ(make(), nullptr);
        EXPECT_THAT(journal().lines().back(),
                    HasSubstr("InitInternal: sd_bus_match: "));
        EXPECT_FALSE(somethingIsLeft());
        EXPECT_FALSE(somethingListens());
        journal().clear();
    }
    EXPECT_NE(make(), nullptr) << "the key is free again";
}

TEST_F(FaultAndHealthTest, LeavesNothingWhenEitherSubscriptionThrows)
{
    for (const unsigned before : {0u, 1u})
    {
        journal().fail(
            "LQOVS_receive_signal",
            [] {
                throw std::runtime_error("broken");
            },
            before);
        EXPECT_EQ(make(), nullptr);
        EXPECT_FALSE(somethingIsLeft());
        EXPECT_FALSE(somethingListens());
        journal().clear();
    }
}

TEST_F(FaultAndHealthTest, IsMadeWithoutTheSubscriptionsThatAreRefused)
{
    journal().answer("LQOVS_receive_signal", 0);
    journal().answer("LQOVS_receive_signal", 0);
    auto object = make();
    EXPECT_NE(object, nullptr);
    object.reset();
    EXPECT_EQ(journal().count("LQOVS_receive_signal_free"), 0u);
}

TEST_F(FaultAndHealthTest, UndoesItsConstructionInReverseOrder)
{
    if constexpr (!seamSeesMatches<>)
    {
        GTEST_SKIP() << "this sdbusplus adds matches unseen";
    }
    journal().answer("sd_bus_add_match", -ENOBUFS, 2);
    EXPECT_EQ(make(), nullptr);
    const Lines calls = journal().takeCalls();
    const auto undo = std::ranges::find(
        calls, "LQOVS_receive_signal_free "
               "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs");
    EXPECT_EQ(
        Lines(undo, calls.end()),
        (Lines{"LQOVS_receive_signal_free "
               "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs",
               "LQOVS_receive_signal_free "
               "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags",
               "signal /com/vexa/olvar/health/a "
               "com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate ssu: "
               "'/com/vexa/olvar/health' '/com/vexa/olvar/health/a' 0",
               "datacache_healthstatus_remove /com/vexa/olvar/health/a",
               "~healthstatus_cluster"}));
}

TEST_F(FaultAndHealthTest, MayBeMadeForSeveralKeys)
{
    const auto first = make();
    const auto second = make(root + "/b");
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(platform().subscriptions.size(), 4u);
}

TEST_F(FaultAndHealthTest, RemovesBothFaultsOfAMessageAndSensorInThisOrder)
{
    const auto object = make();
    add(*object, 1);
    add(*object, 2, "OTHER");
    add(*object, 1);
    const Lines paths = faults();
    journal().take();
    ASSERT_EQ(remove(*object), 0);

    const std::string log = "log 7 271 hmi_fault_health.#.removeFault: ";
    Lines expected{log + "Remove fault called for FAN0001"};
    for (const std::string& path : {paths.at(0), paths.at(2)})
    {
        expected.insert(
            expected.end(),
            {"log 8 271 hmi_faultentry.#.~FaultEntry Entry : FAN0001 "
             "destructor called, generate signal",
             "signal " + path +
                 " com.vexa.olvar.healthmgr.FaultEntry FaultEntryRemoved "
                 "sssuu: 'Fan.1' 'FAN0001' '/sensors/fan1' 48 4",
             "InterfacesRemoved " + path +
                 " com.vexa.olvar.healthmgr.FaultEntry",
             "log 8 271 hmi_faultentry.#.~FaultEntry Entry : " + path +
                 " key delete datacache",
             "datacache_faultentry_remove " + path,
             "log 9 128 server.67.~FaultEntry: destructor called, DAL true",
             "datacache_faultentry_remove " + path, "~faultentry_cluster",
             log + "entry found and removed successfully"});
    }
    Lines lines = journal().take();
    ASSERT_GT(lines.size(), expected.size());
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + expected.size()), expected);
    EXPECT_EQ(lines[expected.size()],
              "log 7 271 hmi_health.#.updateHealthStatus: "
              "key:/com/vexa/olvar/health/a, status:3");
    EXPECT_EQ(lines.back(), log + "Remove fault exiting");
    EXPECT_EQ(std::ranges::count_if(lines,
                                    [](const auto& line) {
                                        return line.find(
                                                   "HealthStatusUpdate") !=
                                               std::string::npos;
                                    }),
              1)
        << "the health is updated once";
    EXPECT_EQ(messages(), Lines{"OTHER"});
    EXPECT_EQ(health(), 3u);
}

TEST_F(FaultAndHealthTest, UpdatesTheHealthEvenWhenNothingMatches)
{
    const auto object = make();
    add(*object, 1);
    journal().take();
    EXPECT_EQ(remove(*object, "FAN0001", "/sensors/fan2"), 0);
    EXPECT_EQ(remove(*object, "fan0001"), 0);
    EXPECT_EQ(remove(*object, "FAN000"), 0);
    EXPECT_EQ(journal().count("log 7 271 hmi_health.#.updateHealthStatus: "
                              "key:/com/vexa/olvar/health/a, status:4"),
              3u);
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(FaultAndHealthTest, RefusesToRemoveWithoutMessageOrSensor)
{
    const auto object = make();
    journal().take();
    EXPECT_EQ(remove(*object, "", "/sensors/fan1"), 1);
    EXPECT_EQ(remove(*object, "FAN0001", ""), 1);
    EXPECT_EQ(remove(*object, "", ""), 1);
    EXPECT_EQ(journal().take(),
              (Lines{"log 1 271 hmi_fault_health.#.removeFault: invalid msgid",
                     "log 1 271 hmi_fault_health.#.removeFault: invalid "
                     "sensorPath",
                     "log 1 271 hmi_fault_health.#.removeFault: invalid "
                     "msgid"}));
}

TEST_F(FaultAndHealthTest, ReportsARemovalWhoseHealthCannotBeSent)
{
    const auto object = make();
    add(*object, 1);
    journal().take();
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_EQ(remove(*object), 0);
    EXPECT_EQ(faults(), Lines{});
    EXPECT_EQ(journal().take("log 2"),
              Lines{"log 2 271 EXCEPTION hmi_fault_health.#.removeFault: "
                    "sd_bus_send: System.Error.ENOTCONN: Transport endpoint "
                    "is not connected"});
}

TEST_F(FaultAndHealthTest, HasTheBaseHealthWithoutAnyFault)
{
    const auto object = make(key, 3);
    EXPECT_EQ(object->computeHealthStatusFromFaultList(), 3u);
    add(*object, 3);
    EXPECT_EQ(object->computeHealthStatusFromFaultList(), 3u)
        << "a fault never brings the health below the base";
    add(*object, 1);
    EXPECT_EQ(object->computeHealthStatusFromFaultList(), 4u);
}

TEST_F(FaultAndHealthTest, RemovesAllFaultsFromTheFirst)
{
    const auto object = make();
    add(*object, 1, "ONE");
    add(*object, 2, "TWO");
    journal().take();
    object->deleteFaultListAll();
    Lines removed = journal().take("signal");
    ASSERT_EQ(removed.size(), 3u);
    EXPECT_THAT(removed[0], HasSubstr("'ONE'"));
    EXPECT_THAT(removed[1], HasSubstr("'TWO'"));
    EXPECT_THAT(removed[2], HasSubstr("HealthStatusUpdate"));
    EXPECT_EQ(faults(), Lines{});
    EXPECT_EQ(health(), 2u);
    EXPECT_EQ(object->computeHealthStatusFromFaultList(), 2u);
}

TEST_F(FaultAndHealthTest, ThrowsWhenTheHealthWithoutFaultsCannotBeSent)
{
    const auto object = make();
    add(*object, 1);
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_THROW(object->deleteFaultListAll(),
                 sdbusplus::exception::SdBusError);
    EXPECT_EQ(faults(), Lines{});
}

TEST_F(FaultAndHealthTest, IsDestroyedWithThreeFaultsInThisOrder)
{
    auto object = make();
    const Lines paths = addThree(*object);
    object.reset();

    Lines expected;
    const Lines ids{"ONE", "TWO", "THREE"};
    for (std::size_t i = 0; i < ids.size(); ++i)
    {
        const std::string& path = paths.at(i);
        const std::string removed = "datacache_faultentry_remove " + path;
        const std::string interface = " com.vexa.olvar.healthmgr.FaultEntry";
        expected.insert(expected.end(),
                        {"signal " + path + interface +
                             " FaultEntryRemoved sssuu: 'Fan.1' '" + ids[i] +
                             "' '/sensors/fan1' 48 4",
                         "InterfacesRemoved " + path + interface, removed,
                         removed, "~faultentry_cluster"});
    }
    const std::string update =
        "signal /com/vexa/olvar/health/a "
        "com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate ssu: "
        "'/com/vexa/olvar/health' '/com/vexa/olvar/health/a' ";
    expected.insert(
        expected.end(),
        {"datacache_healthstatus_set_property /com/vexa/olvar/health/a "
         "HealthStatus=2",
         "healthstatus_cluster.PropertyChanged /com/vexa/olvar/health/a "
         "HealthStatus=2",
         "PropertiesChanged /com/vexa/olvar/health/a HealthStatus",
         update + "2", update + "0",
         "datacache_healthstatus_remove /com/vexa/olvar/health/a",
         "~healthstatus_cluster",
         "LQOVS_receive_signal_free "
         "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs",
         "LQOVS_receive_signal_free "
         "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags",
         "sd_bus_flush"});
    EXPECT_EQ(journal().takeCalls(), expected);
    EXPECT_FALSE(somethingIsLeft());
    EXPECT_FALSE(somethingListens());
}

TEST_F(FaultAndHealthTest, LogsItsEndWithThreeFaultsInThisOrder)
{
    auto object = make();
    const Lines paths = addThree(*object);
    object.reset();

    const std::string key = "/com/vexa/olvar/health/a";
    Lines expected{"5 271 hmi_fault_health.#.~FaultAndHealth: " + key +
                   " destructor called"};
    const Lines ids{"ONE", "TWO", "THREE"};
    for (std::size_t i = 0; i < ids.size(); ++i)
    {
        const std::string entry = "8 271 hmi_faultentry.#.~FaultEntry Entry : ";
        expected.insert(
            expected.end(),
            {entry + ids[i] + " destructor called, generate signal",
             entry + paths.at(i) + " key delete datacache",
             "9 128 server.67.~FaultEntry: destructor called, DAL true"});
    }
    const std::string node = "7 271 hmi_health.#.";
    const std::string update = node + "updateHealthStatus: ";
    const std::string recalculate = node + "recalculateHealth: ";
    const std::string send = node + "updateHealthStatusAndSendSignalInternal: ";
    expected.insert(
        expected.end(),
        {update + "key:" + key + ", status:2",
         update + "insert_or_assign " + key + " to map\n",
         recalculate + "childMap size:1",
         recalculate + "Key:" + key + " status:2 health:0",
         recalculate + "Recalculated health : 2, oldHealth:4\n",
         send + "Send signal for " + key + " with health 2\n",
         send + "Parent : /com/vexa/olvar/health",
         node + "~HealthStatus: destructor " + key,
         "9 128 server.67.~HealthStatus: destructor called, DAL true"});
    EXPECT_EQ(journal().takeApart().log, expected);
}

TEST_F(FaultAndHealthTest, IsDestroyedStepByStepWhateverFails)
{
    auto object = make();
    add(*object, 1);
    journal().take();
    journal().answer("sd_bus_send FaultEntryRemoved", -ENOTCONN);
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    journal().answer("sd_bus_flush", -ENOTCONN);
    object.reset();
    const std::string cause = ": System.Error.ENOTCONN: Transport endpoint is "
                              "not connected";
    EXPECT_EQ(
        journal().take("log 2"),
        (Lines{"log 2 271 EXCEPTION hmi_faultentry.#.~FaultEntry: "
               "sd_bus_send" +
                   cause,
               "log 2 271 hmi_fault_health.#.~FaultAndHealth: "
               "Exception: sd_bus_send" +
                   cause,
               "log 2 271 hmi_health.#.~HealthStatus: sd_bus_send" + cause,
               "log 2 271 hmi_fault_health.#.~FaultAndHealth: "
               "Exception: sd_bus_flush" +
                   cause}));
    EXPECT_FALSE(somethingIsLeft());
    EXPECT_FALSE(somethingListens());
}

/** Two components with one key in this process, each on its own connection. */
class SecondComponent : public ComponentTest
{
  protected:
    std::unique_ptr<FaultAndHealth> makeOnOther(uint32_t baseHealth)
    {
        return std::unique_ptr<FaultAndHealth>(
            FaultAndHealth::Init(other.bus, key, baseHealth, false));
    }

    static std::string update(uint32_t health)
    {
        return "signal " + key +
               " com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate "
               "ssu: '" +
               root + "' '" + key + "' " + std::to_string(health);
    }

    DirectConnection other;
};

TEST_F(SecondComponent, KeepsItsRecordWhenTheFirstEnds)
{
    auto component = make(key, 3);
    journal().take();
    component = makeOnOther(2);
    EXPECT_EQ(health(), 2U);
    EXPECT_EQ(journal().take("signal " + key).back(), update(2))
        << "the parent's last update is the younger node's";
    add(*component, 1);
    EXPECT_EQ(health(), 4U);
    component.reset();
    EXPECT_FALSE(platform().healthRecords.contains(key));
}

TEST_F(SecondComponent, DeterminesTheHealthWhateverTheFirstReports)
{
    const auto first = make();
    const auto second = makeOnOther(2);
    add(*second, 2);
    add(*first, 1);
    EXPECT_EQ(health(), 3U);
    remove(*first);
    EXPECT_EQ(health(), 3U);
}

TEST_F(SecondComponent, LeavesTheRecordToTheFirstWhenItEnds)
{
    const auto first = make();
    auto second = makeOnOther(3);
    add(*first, 1);
    EXPECT_EQ(health(), 3U);
    journal().take();
    second.reset();
    EXPECT_EQ(health(), 4U);
    EXPECT_EQ(journal().take("signal " + key).back(), update(4));
    remove(*first);
    EXPECT_EQ(health(), 2U);
}

TEST_F(FaultAndHealthTest, KeepsEveryFaultWhenTheEventLogIsCleared)
{
    const auto object = make();
    add(*object, 1);
    journal().take();
    connection.signal("/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
                      "ClearedSelEntries", "");
    connection.signal("/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
                      "ClearedSelEntries", "su", "anything", 1u);
    EXPECT_EQ(journal().take(),
              Lines(2, "log 7 271 hmi_fault_health.#.clearSELSignalHandler: "
                       "clear SEL Signal Received"));
    EXPECT_EQ(messages(), Lines{"FAN0001"});
}

TEST_F(FaultAndHealthTest, ReceivesTheClearedLogOnceAfterRegisteringAgain)
{
    const auto object = make();
    object->RegisterForClearSELSignal();
    journal().take();
    connection.signal("/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
                      "ClearedSelEntries", "");
    EXPECT_EQ(journal().take().size(), 1U);
}

} // namespace
} // namespace health_namespace
