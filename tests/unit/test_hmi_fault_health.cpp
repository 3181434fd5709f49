#include "component_test.hpp"
#include "text.hpp"
#include "wall_clock.hpp"

#include <hmi_fault_health.hpp>

#include <gmock/gmock.h>

#include <unistd.h>

#include <cstdio>
#include <limits>
#include <memory>
#include <stdexcept>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

uint64_t clockReads = 1'700'000'000;

class FaultAndHealthTest : public ComponentTest
{
  protected:
    FaultAndHealthTest()
    {
        clockReads = 1'700'000'000;
    }

    /** Adds a fault by a message of the registry. */
    static int addByMessage(FaultAndHealth& object, std::string msgId,
                            std::vector<std::string> args = {})
    {
        std::string sensorPath = "/sensors/fan1";
        std::string fqdd = "Fan.1";
        std::string subSystem = "sub";
        return object.addFault(msgId, sensorPath, args, fqdd, subSystem, 48, 4);
    }

    /** The path that the next entry will have. */
    static std::string nextPath(uint32_t health)
    {
        static_cast<void>(FaultEntry::GetUniqueFaultNumber());
        return pathOf(static_cast<uint16_t>(lastNumber() + 1), health);
    }

    static std::string pathOf(uint16_t number, uint32_t health)
    {
        char name[32];
        std::snprintf(name, sizeof(name), "Fault_%04X%04X_%01X",
                      static_cast<unsigned int>(getpid()), number, health);
        return key + "/entry/" + name;
    }

    /** Draws a number and gives it: the next entry has the one after. */
    static uint16_t lastNumber()
    {
        return FaultEntry::GetUniqueFaultNumber();
    }

    /** The paths of the fault records. */
    static Lines faults()
    {
        Lines paths;
        for (const auto& [path, record] : platform().faultRecords)
        {
            paths.push_back(path);
        }
        return paths;
    }

    /** Whether anything of the library is left on the library's end. */
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

    /** Whether the library still listens to any of its three signals. */
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
    Lines lines = journal().take();
    // The node's own steps are the node's to test.
    const auto nodeBegins =
        std::ranges::find(lines, "log 7 271 hmi_health.#.Init: Initalizing 2 "
                                 "for /com/vexa/olvar/health/a key");
    const auto nodeEnds = std::ranges::find(
        lines, "log 7 271 "
               "hmi_health.#.updateHealthStatusAndSendSignalInternal: Parent "
               ": /com/vexa/olvar/health");
    ASSERT_NE(nodeEnds, lines.end());
    lines.erase(nodeBegins, nodeEnds + 1);

    const std::string clearRule =
        "type='signal',path='/com/vexa/olvar/logmgr/SEL',"
        "interface='com.vexa.olvar.logmgr.SEL',member='ClearedSelEntries',";
    const std::string hideRule =
        "type='signal',path='/com/vexa/olvar/health',"
        "interface='com.vexa.olvar.healthmgr',member='HideFaultForSensor',";
    const std::string log = "log 5 271 hmi_fault_health.#.FaultAndHealth: ";
    Lines expected{
        "log 7 271 hmi_health.#.CheckHealthStatusExist: Entry "
        "path:/com/vexa/olvar/health",
        "HealthStatus.get_map_by_path_prefixes [] "
        "['/com/vexa/olvar/health']",
        "sd_bus_add_object_manager /com/vexa/olvar/health",
        log + "FaultAndHealth constructor called",
        log + "Setting close on event loop exit to false",
        "log 8 271 hmi_cfg_handlers.#.RegisterForLCDAttributes Entry : LCD "
        "Attr register "
        "CfgMgr/1/AttributeChange/#system.embedded.1#lcd.1#hideerrs",
        "LQOVS_receive_signal "
        "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs",
        "LQOVS_receive_signal "
        "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags",
        "sd_bus_add_match " + clearRule,
        "log 7 271 hmi_fault_health.#.RegisterForClearSELSignal: Registered "
        "clear SEL  Signal Handler",
        "log 7 271 hmi_fault_health.#.RegisterForClearSELSignal: " + clearRule,
        "sd_bus_add_match " + hideRule,
        "log 7 271 hmi_fault_health.#.RegisterForHideFaultsSignal: Registered "
        "the hide Fault Signal Handler",
        "log 7 271 hmi_fault_health.#.RegisterForHideFaultsSignal: " + hideRule,
        log + "Registering for HideFault done",
        "log 7 271 hmi_fault_health.#.InitInternal: FaultAndHealth Created: "
        "/com/vexa/olvar/health/a"};
    if constexpr (!seamSeesMatches<>)
    {
        std::erase_if(expected, [](const std::string& line) {
            return line.starts_with("sd_bus_add_match");
        });
    }
    EXPECT_EQ(lines, expected);
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

TEST_F(FaultAndHealthTest, IsMadeWhateverTheRequestForItsParentAnswers)
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
    // The node's match comes first.
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

TEST_F(FaultAndHealthTest, AddsAFaultThatUpdatesTheHealthInThisOrder)
{
    platform().messages["FAN0001"] = {1, "Fan %1 failed."};
    const auto object = make();
    const std::string path = nextPath(4);
    journal().take();
    ASSERT_EQ(addByMessage(*object, "FAN0001", {"7"}), 0);

    const std::string log = "271 hmi_fault_health.#.addFault";
    const std::string changed = "PropertiesChanged " + path + " ";
    const std::string told = "faultentry_cluster.PropertyChanged " + path + " ";
    const std::string recalculate =
        "log 7 271 hmi_health.#.recalculateHealth: ";
    EXPECT_EQ(
        journal().take(),
        (Lines{
            "MsgRegGetContentWNByMsgID FAN0001 en zeroed",
            "log 7 " + log + ": Message Content : Severity : 1, Fan 7 failed.",
            "log 8 " + log + " Entry : ",
            "log 7 " + log + ": faultEntryPath " + path,
            "faultentry_cluster",
            "sd_bus_add_object_vtable " + path +
                " com.vexa.olvar.healthmgr.FaultEntry",
            "datacache_faultentry_create " + path +
                " {Args=['7'], FQDD='Fan.1', Hidden=false, LcdMessage='', "
                "LedState=0, Message='Fan 7 failed.', "
                "MessageID='FAN0001', SensorNumber=48, "
                "SensorPath='/sensors/fan1', SensorType=4, Severity=4, "
                "Timestamp=1700000000}",
            told + "Args=['7']",
            changed + "Args",
            told + "FQDD='Fan.1'",
            told + "Message='Fan 7 failed.'",
            changed + "Message",
            told + "MessageID='FAN0001'",
            changed + "MessageID",
            told + "SensorNumber=48",
            changed + "SensorNumber",
            told + "SensorPath='/sensors/fan1'",
            changed + "SensorPath",
            told + "SensorType=4",
            changed + "SensorType",
            told + "Severity=4",
            changed + "Severity",
            told + "Timestamp=1700000000",
            changed + "Timestamp",
            "log 8 271 hmi_faultentry.#.FaultEntry Entry : FaultEntry "
            "constructor called",
            "InterfacesAdded " + path + " com.vexa.olvar.healthmgr.FaultEntry",
            "log 7 " + log + ": FaultEntry created: /sensors/fan1, severity: 4",
            "signal " + path +
                " com.vexa.olvar.healthmgr.FaultEntry FaultEntryAdded "
                "sssastusuu: 'Fan.1' 'FAN0001' 'Fan 7 failed.' ['7'] "
                "1700000000 4 '/sensors/fan1' 48 4",
            "log 7 " + log + ": Updating health status 4 != 2",
            "log 7 271 hmi_health.#.updateHealthStatus: "
            "key:/com/vexa/olvar/health/a, status:4",
            "log 7 271 hmi_health.#.updateHealthStatus: insert_or_assign "
            "/com/vexa/olvar/health/a to map\n",
            recalculate + "childMap size:1",
            recalculate + "Key:/com/vexa/olvar/health/a status:4 health:0",
            recalculate + "Recalculated health : 4, oldHealth:2\n",
            "datacache_healthstatus_set_property /com/vexa/olvar/health/a "
            "HealthStatus=4",
            "healthstatus_cluster.PropertyChanged "
            "/com/vexa/olvar/health/a HealthStatus=4",
            "PropertiesChanged /com/vexa/olvar/health/a HealthStatus",
            "log 7 271 "
            "hmi_health.#.updateHealthStatusAndSendSignalInternal: Send "
            "signal for /com/vexa/olvar/health/a with health 4\n",
            "signal /com/vexa/olvar/health/a "
            "com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate ssu: "
            "'/com/vexa/olvar/health' '/com/vexa/olvar/health/a' 4",
            "log 7 271 "
            "hmi_health.#.updateHealthStatusAndSendSignalInternal: Parent "
            ": /com/vexa/olvar/health",
            "log 8 " + log + " Exit : "}));
}

TEST_F(FaultAndHealthTest, AddsAFaultThatLeavesTheHealthInThisOrder)
{
    const auto object = make(key, 3);
    const std::string path = nextPath(3);
    journal().take();
    ASSERT_EQ(add(*object, 2), 0);
    const Lines lines = journal().take();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines.front(), "log 8 271 hmi_fault_health.#.addFault Entry : ");
    EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
              (Lines{"signal " + path +
                         " com.vexa.olvar.healthmgr.FaultEntry "
                         "FaultEntryAdded sssastusuu: 'Fan.1' 'FAN0001' 'Fan "
                         "1 failed.' ['1'] 1700000000 3 '/sensors/fan1' 48 4",
                     "log 8 271 hmi_fault_health.#.addFault Exit : "}));
    EXPECT_THAT(lines, Not(Contains(HasSubstr("hmi_health"))));
    EXPECT_EQ(std::get<int32_t>(platform().faultRecords.at(path)["LedState"]),
              3);
    EXPECT_EQ(
        std::get<std::string>(platform().faultRecords.at(path)["LcdMessage"]),
        "Fan 1");
}

TEST_F(FaultAndHealthTest, DropsAnInformationalMessageWithoutATrace)
{
    platform().messages["FAN0002"] = {3, "Fan is fine."};
    const auto object = make();
    journal().take();
    EXPECT_EQ(addByMessage(*object, "FAN0002"), 0);
    EXPECT_EQ(journal().take(),
              (Lines{"MsgRegGetContentWNByMsgID FAN0002 en zeroed",
                     "log 7 271 hmi_fault_health.#.addFault: FAN0002 Severity "
                     "is 3, so not logging"}));
}

TEST_F(FaultAndHealthTest, MakesFaultsOfSeveritiesUpToTwo)
{
    platform().messages["S0"] = {0, "zero"};
    platform().messages["S1"] = {1, "one"};
    platform().messages["S2"] = {2, "two"};
    platform().messages["S4"] = {4, "four"};
    const auto object = make();
    for (const char* id : {"S0", "S1", "S2", "S4"})
    {
        EXPECT_EQ(addByMessage(*object, id), 0);
    }
    EXPECT_THAT(messages(), testing::UnorderedElementsAre("S0", "S1", "S2"));
}

TEST_F(FaultAndHealthTest, ReportsAMessageThatTheRegistryHasNot)
{
    const auto object = make();
    journal().take();
    EXPECT_EQ(addByMessage(*object, "NONE"), 5);
    EXPECT_EQ(
        journal().take(),
        (Lines{"MsgRegGetContentWNByMsgID NONE en zeroed",
               "log 1 271 hmi_utils.#._GetMessageContent: "
               "MsgRegGetContentByMsgID failed with status: 1\n",
               "log 1 271 hmi_fault_health.#.addFault: Not able to fetch the "
               "Message Contents error : 1"}));
}

TEST_F(FaultAndHealthTest, KeepsBothFaultsOfOneMessageAndSensor)
{
    const auto object = make();
    EXPECT_EQ(add(*object, 1), 0);
    EXPECT_EQ(add(*object, 1), 0);
    EXPECT_EQ(faults().size(), 2u);
}

TEST_F(FaultAndHealthTest, NeverHoldsMoreThanTenFaults)
{
    const auto object = make();
    for (int i = 0; i < 25; ++i)
    {
        EXPECT_EQ(add(*object, 1), 0);
        EXPECT_LE(faults().size(), FaultAndHealth::maxFaults);
    }
    EXPECT_EQ(faults().size(), FaultAndHealth::maxFaults);
}

TEST_F(FaultAndHealthTest, EvictsTheLeastImportantInThisOrder)
{
    const auto object = make();
    ASSERT_EQ(add(*object, 2, "LEAST", "/sensors/least"), 0);
    const std::string least = faults().front();
    for (int i = 0; i < 9; ++i)
    {
        ASSERT_EQ(add(*object, 1, "WORSE"), 0);
    }
    journal().take();
    ASSERT_EQ(add(*object, 1, "WORSE"), 0);
    Lines lines = journal().take();
    const auto announced = std::ranges::find_if(lines, [](const auto& line) {
        return line.find("FaultEntryAdded") != std::string::npos;
    });
    ASSERT_NE(announced, lines.end());
    const std::string log =
        "271 hmi_fault_health.#.removeLowestPriorityFaultEntry";
    EXPECT_EQ(
        Lines(announced + 1, lines.end()),
        (Lines{"log 7 271 hmi_fault_health.#.addFault: Current Fault Entry "
               "Size : 11, removing lowest",
               "log 8 " + log + " Entry : ",
               "log 7 " + log +
                   ": MSG:LEAST, sev:3, timestmap:1700000000, "
                   "sensorpath:/sensors/least",
               "log 8 271 hmi_faultentry.#.~FaultEntry Entry : LEAST "
               "destructor called, generate signal",
               "signal " + least +
                   " com.vexa.olvar.healthmgr.FaultEntry FaultEntryRemoved "
                   "sssuu: 'Fan.1' 'LEAST' '/sensors/least' 48 4",
               "InterfacesRemoved " + least +
                   " com.vexa.olvar.healthmgr.FaultEntry",
               "log 8 271 hmi_faultentry.#.~FaultEntry Entry : " + least +
                   " key delete datacache",
               "datacache_faultentry_remove " + least,
               "log 9 128 server.67.~FaultEntry: destructor called, DAL true",
               "datacache_faultentry_remove " + least, "~faultentry_cluster",
               "log 8 " + log + " Exit : ",
               "log 8 271 hmi_fault_health.#.addFault Exit : "}))
        << "the health is not worked out anew: it equals the new fault's";
}

TEST_F(FaultAndHealthTest, EvictsTheNewFaultWhenAllOthersAreOlder)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i, ++clockReads)
    {
        add(*object, 2, "OLD" + std::to_string(i));
    }
    add(*object, 2, "NEW");
    EXPECT_THAT(messages(), Not(Contains("NEW")));
    EXPECT_EQ(messages().size(), 10u);
}

TEST_F(FaultAndHealthTest, EvictsTheFirstOfFaultsOfTheSameSecond)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        add(*object, 2, "OLD" + std::to_string(i));
    }
    add(*object, 2, "NEW");
    EXPECT_THAT(messages(), Contains("NEW"));
    EXPECT_THAT(messages(), Not(Contains("OLD0")));
}

TEST_F(FaultAndHealthTest, EvictsTheNewestOfTheLeastSevere)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        clockReads += i % 5 == 0 ? 10 : 0;
        add(*object, 2, "OLD" + std::to_string(i));
    }
    ++clockReads;
    add(*object, 1, "NEW");
    EXPECT_THAT(messages(), Contains("NEW"));
    EXPECT_THAT(messages(), Not(Contains("OLD5")))
        << "of 5 to 9, which share the latest second, the first";
    EXPECT_EQ(messages().size(), 10u);
}

TEST_F(FaultAndHealthTest, EvictsTheNewFaultWhenItIsTheLeastSevere)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        add(*object, 1, "OLD");
    }
    EXPECT_EQ(add(*object, 2, "NEW"), 0);
    EXPECT_THAT(messages(), Not(Contains("NEW")));
    EXPECT_EQ(health(), 4u);
}

TEST_F(FaultAndHealthTest, EvictsNothingUpToTenFaults)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        add(*object, 1);
    }
    journal().take();
    object->removeLowestPriorityFaultEntry();
    EXPECT_EQ(journal().take(),
              (Lines{"log 8 271 "
                     "hmi_fault_health.#.removeLowestPriorityFaultEntry Entry "
                     ": ",
                     "log 7 271 "
                     "hmi_fault_health.#.removeLowestPriorityFaultEntry: "
                     "number of entry is low 10"}));
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
    add(*object, 1, "ONE");
    add(*object, 2, "TWO");
    add(*object, 1, "THREE");
    const Lines paths = faults();
    journal().take();
    object.reset();

    Lines expected{"log 5 271 hmi_fault_health.#.~FaultAndHealth: "
                   "/com/vexa/olvar/health/a destructor called"};
    const Lines ids{"ONE", "TWO", "THREE"};
    for (const std::string& id : ids)
    {
        const auto path = std::ranges::find_if(paths, [&](const auto& each) {
            return each.ends_with(id == "TWO" ? "_3" : "_4") &&
                   (id != "THREE" || each == paths.back());
        });
        expected.insert(
            expected.end(),
            {"log 8 271 hmi_faultentry.#.~FaultEntry Entry : " + id +
                 " destructor called, generate signal",
             "signal " + *path +
                 " com.vexa.olvar.healthmgr.FaultEntry FaultEntryRemoved "
                 "sssuu: 'Fan.1' '" +
                 id + "' '/sensors/fan1' 48 4",
             "InterfacesRemoved " + *path +
                 " com.vexa.olvar.healthmgr.FaultEntry",
             "log 8 271 hmi_faultentry.#.~FaultEntry Entry : " + *path +
                 " key delete datacache",
             "datacache_faultentry_remove " + *path,
             "log 9 128 server.67.~FaultEntry: destructor called, DAL true",
             "datacache_faultentry_remove " + *path, "~faultentry_cluster"});
    }
    const std::string recalculate =
        "log 7 271 hmi_health.#.recalculateHealth: ";
    const std::string update =
        "signal /com/vexa/olvar/health/a "
        "com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate ssu: "
        "'/com/vexa/olvar/health' '/com/vexa/olvar/health/a' ";
    expected.insert(
        expected.end(),
        {"log 7 271 hmi_health.#.updateHealthStatus: "
         "key:/com/vexa/olvar/health/a, status:2",
         "log 7 271 hmi_health.#.updateHealthStatus: insert_or_assign "
         "/com/vexa/olvar/health/a to map\n",
         recalculate + "childMap size:1",
         recalculate + "Key:/com/vexa/olvar/health/a status:2 health:0",
         recalculate + "Recalculated health : 2, oldHealth:4\n",
         "datacache_healthstatus_set_property /com/vexa/olvar/health/a "
         "HealthStatus=2",
         "healthstatus_cluster.PropertyChanged /com/vexa/olvar/health/a "
         "HealthStatus=2",
         "PropertiesChanged /com/vexa/olvar/health/a HealthStatus",
         "log 7 271 hmi_health.#.updateHealthStatusAndSendSignalInternal: "
         "Send signal for /com/vexa/olvar/health/a with health 2\n",
         update + "2",
         "log 7 271 hmi_health.#.updateHealthStatusAndSendSignalInternal: "
         "Parent : /com/vexa/olvar/health",
         "log 7 271 hmi_health.#.~HealthStatus: destructor "
         "/com/vexa/olvar/health/a",
         update + "0",
         "log 9 128 server.67.~HealthStatus: destructor called, DAL true",
         "datacache_healthstatus_remove /com/vexa/olvar/health/a",
         "~healthstatus_cluster",
         "LQOVS_receive_signal_free "
         "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs",
         "LQOVS_receive_signal_free "
         "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags",
         "sd_bus_flush"});
    EXPECT_EQ(journal().take(), expected);
    EXPECT_FALSE(somethingIsLeft());
    EXPECT_FALSE(somethingListens());
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

TEST_F(FaultAndHealthTest, FailsToAddWhenTheEntryIsRefused)
{
    const auto object = make();
    const std::string path = nextPath(4);
    journal().take();
    journal().answer("sd_bus_add_object_vtable", -ENOMEM);
    EXPECT_EQ(add(*object, 1), 4);
    const Lines lines = journal().take();
    const std::string log = " hmi_fault_health.#.addFault: ";
    EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
              (Lines{"log 2 271 EXCEPTION" + log +
                         "sd_bus_add_object_vtable: "
                         "org.freedesktop.DBus.Error.NoMemory: Cannot "
                         "allocate memory",
                     "log 1 271" + log + "Error in FaultEntry Creation for " +
                         path}));
    EXPECT_EQ(faults(), Lines{});
    EXPECT_EQ(health(), 2u);
    EXPECT_EQ(add(*object, 1), 0) << "and can add the next time";
}

TEST_F(FaultAndHealthTest, FailsToAddWhenTheDataCacheThrows)
{
    const auto object = make();
    journal().fail("datacache_faultentry_create", [] {
        throw std::runtime_error("broken");
    });
    EXPECT_EQ(add(*object, 1), 4);
    EXPECT_EQ(health(), 2u);
}

TEST_F(FaultAndHealthTest, WithdrawsAnEntryThatCannotBeAnnounced)
{
    const auto object = make();
    journal().answer("sd_bus_send FaultEntryAdded", -ENOTCONN);
    EXPECT_EQ(add(*object, 1), 4);
    EXPECT_EQ(faults(), Lines{});
    EXPECT_EQ(health(), 2u);
    EXPECT_EQ(object->computeHealthStatusFromFaultList(), 2u);
    EXPECT_EQ(journal().count("InterfacesRemoved"), 1u);
}

TEST_F(FaultAndHealthTest, WithdrawsAnEntryWhoseHealthCannotBeSent)
{
    const auto object = make();
    journal().take();
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_EQ(add(*object, 1), 4);
    EXPECT_EQ(faults(), Lines{});
    EXPECT_EQ(health(), 2u) << "the health is as before";
    EXPECT_EQ(journal().take("signal").back(),
              "signal /com/vexa/olvar/health/a "
              "com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate ssu: "
              "'/com/vexa/olvar/health' '/com/vexa/olvar/health/a' 2");
}

TEST_F(FaultAndHealthTest, RestoresTheHealthEvenWhenNothingCanBeSentAtAll)
{
    const auto object = make();
    for (int i = 0; i < 2; ++i)
    {
        journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    }
    EXPECT_EQ(add(*object, 1), 4);
    EXPECT_EQ(health(), 2u);
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION "
                              "hmi_fault_health.#.addFault: sd_bus_send"),
              2u);
}

TEST_F(FaultAndHealthTest, KeepsAnEvictedFaultRemovedWhenTheNewOneFails)
{
    const auto object = make();
    add(*object, 3, "LEAST");
    for (int i = 0; i < 9; ++i)
    {
        add(*object, 2, "MORE");
    }
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_EQ(add(*object, 1, "NEW"), 4);
    EXPECT_EQ(messages(), Lines(9, "MORE"));
    EXPECT_EQ(health(), 3u);
}

TEST_F(FaultAndHealthTest, RefusesTextsThatTheBusCannotCarry)
{
    using namespace std::string_literals;
    const auto object = make();
    const std::string bad = "\xFF";
    const std::string ok = "x";
    const std::vector<std::string> none;
    EXPECT_EQ(object->addFault(bad, ok, none, ok, ok, 1, 1, ok, 1, ok, 0), 4);
    EXPECT_EQ(object->addFault(ok, bad, none, ok, ok, 1, 1, ok, 1, ok, 0), 4);
    EXPECT_EQ(object->addFault(ok, ok, {ok, bad}, ok, ok, 1, 1, ok, 1, ok, 0),
              4);
    EXPECT_EQ(object->addFault(ok, ok, none, bad, ok, 1, 1, ok, 1, ok, 0), 4);
    EXPECT_EQ(object->addFault(ok, ok, none, ok, ok, 1, 1, bad, 1, ok, 0), 4);
    EXPECT_EQ(object->addFault(ok, ok, none, ok, ok, 1, 1, ok, 1, bad, 0), 4);
    EXPECT_EQ(object->addFault("a\0b"s, ok, none, ok, ok, 1, 1, ok, 1, ok, 0),
              4);
    EXPECT_EQ(faults(), Lines{});
    EXPECT_EQ(journal().count("signal"), 1u) << "the node's start alone";
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION "
                              "hmi_fault_health.#.addFault: MessageID is not "
                              "UTF-8 text without NUL"),
              2u);
    EXPECT_EQ(object->addFault(ok, ok, none, ok, bad, 1, 1, ok, 1, ok, 0), 0)
        << "the subsystem is not used";
}

TEST_F(FaultAndHealthTest, RefusesMoreTextThanAMessageShouldHold)
{
    const auto object = make();
    const std::string half(FaultAndHealth::maxFaultText / 2, 'x');
    EXPECT_EQ(object->addFault("", "", {half}, "", "", 1, 1, half, 1, "", 0),
              0);
    EXPECT_EQ(faults().size(), 1u);
    EXPECT_EQ(object->addFault("", "", {half}, "x", "", 1, 1, half, 1, "", 0),
              4);
    EXPECT_EQ(faults().size(), 1u);
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION "
                              "hmi_fault_health.#.addFault: the texts have "
                              "more than 1048576 bytes"),
              1u);
}

TEST_F(FaultAndHealthTest, AddsAFaultWithoutArgumentsOrTexts)
{
    const auto object = make();
    EXPECT_EQ(object->addFault("", "", {}, "", "", 0, 0, "", 1, "", 0), 0);
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(FaultAndHealthTest, KeepsAnOldFaultWhoseNameComesUpAgain)
{
    const auto object = make();
    const uint16_t before = lastNumber();
    add(*object, 1, "OLD");
    for (int i = 0; i < 0xFFFF; ++i)
    {
        static_cast<void>(FaultEntry::GetUniqueFaultNumber());
    }
    const std::string path = pathOf(static_cast<uint16_t>(before + 1), 4);
    ASSERT_EQ(faults(), Lines{path});
    EXPECT_EQ(add(*object, 1, "NEW"), 4);
    EXPECT_EQ(messages(), Lines{"OLD"});
    EXPECT_EQ(health(), 4u);
    EXPECT_EQ(add(*object, 1, "NEW"), 0);
    EXPECT_EQ(faults().size(), 2u);
}

} // namespace

/** The clock of the library in these tests. */
uint64_t details::secondsSinceEpoch()
{
    return clockReads;
}

} // namespace health_namespace
