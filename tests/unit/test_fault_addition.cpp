// SPDX-License-Identifier: Apache-2.0
#include "component_test.hpp"
#include "stopped_clock.hpp"

#include <hmi_fault_health.hpp>

#include <gmock/gmock.h>

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <new>
#include <stdexcept>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class FaultAddition : public ComponentTest
{
  protected:
    FaultAddition()
    {
        clockReads = clockStart;
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
        return makePath(static_cast<uint16_t>(lastNumber() + 1), health);
    }

    static std::string makePath(uint16_t number, uint32_t health)
    {
        char name[32];
        std::snprintf(name, sizeof(name), "Fault_%04X%04X_%01X",
                      static_cast<unsigned int>(getpid()), number, health);
        return key + "/entry/" + name;
    }

    /** Draws a fault number and returns it; the next entry gets the following
     *  one. */
    static uint16_t lastNumber()
    {
        return FaultEntry::GetUniqueFaultNumber();
    }
};

TEST_F(FaultAddition, AddsAFaultThatUpdatesTheHealthInThisOrder)
{
    platform().messages["FAN0001"] = {1, "Fan %1 failed."};
    const auto object = make();
    const std::string path = nextPath(4);
    journal().take();
    ASSERT_EQ(addByMessage(*object, "FAN0001", {"7"}), 0);

    const std::string interface = " com.vexa.olvar.healthmgr.FaultEntry";
    Lines expected{
        "MsgRegGetContentWNByMsgID FAN0001 en zeroed", "faultentry_cluster",
        "sd_bus_add_object_vtable " + path + interface,
        "datacache_faultentry_create " + path +
            " {Args=['7'], FQDD='Fan.1', Hidden=false, LcdMessage='', "
            "LedState=0, Message='Fan 7 failed.', MessageID='FAN0001', "
            "SensorNumber=48, SensorPath='/sensors/fan1', SensorType=4, "
            "Severity=4, Timestamp=1700000000}"};
    for (const std::string value :
         {"Args=['7']", "FQDD='Fan.1'", "Message='Fan 7 failed.'",
          "MessageID='FAN0001'", "SensorNumber=48",
          "SensorPath='/sensors/fan1'", "SensorType=4", "Severity=4",
          "Timestamp=1700000000"})
    {
        const std::string name = value.substr(0, value.find('='));
        expected.push_back("faultentry_cluster.PropertyChanged " + path + " " +
                           value);
        if (name != "FQDD")
        {
            expected.push_back("PropertiesChanged " + path + " " + name);
        }
    }
    expected.insert(
        expected.end(),
        {"InterfacesAdded " + path + interface,
         "signal " + path + interface +
             " FaultEntryAdded sssastusuu: 'Fan.1' 'FAN0001' 'Fan 7 failed.' "
             "['7'] 1700000000 4 '/sensors/fan1' 48 4",
         "datacache_healthstatus_set_property /com/vexa/olvar/health/a "
         "HealthStatus=4",
         "healthstatus_cluster.PropertyChanged /com/vexa/olvar/health/a "
         "HealthStatus=4",
         "PropertiesChanged /com/vexa/olvar/health/a HealthStatus",
         "signal /com/vexa/olvar/health/a "
         "com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate ssu: "
         "'/com/vexa/olvar/health' '/com/vexa/olvar/health/a' 4"});
    EXPECT_EQ(journal().takeCalls(), expected);
}

TEST_F(FaultAddition, LogsAFaultThatUpdatesTheHealthInThisOrder)
{
    platform().messages["FAN0001"] = {1, "Fan %1 failed."};
    const auto object = make();
    const std::string path = nextPath(4);
    journal().take();
    ASSERT_EQ(addByMessage(*object, "FAN0001", {"7"}), 0);

    const std::string add = "271 hmi_fault_health.#.addFault";
    const std::string node = "7 271 hmi_health.#.";
    const std::string update = node + "updateHealthStatus: ";
    const std::string recalculate = node + "recalculateHealth: ";
    const std::string send = node + "updateHealthStatusAndSendSignalInternal: ";
    EXPECT_EQ(
        journal().takeApart().log,
        (Lines{
            "7 " + add + ": Message Content : Severity : 1, Fan 7 failed.",
            "8 " + add + " Entry : ", "7 " + add + ": faultEntryPath " + path,
            "8 271 hmi_faultentry.#.FaultEntry Entry : FaultEntry constructor "
            "called",
            "7 " + add + ": FaultEntry created: /sensors/fan1, severity: 4",
            "7 " + add + ": Updating health status 4 != 2",
            update + "key:/com/vexa/olvar/health/a, status:4",
            update + "insert_or_assign /com/vexa/olvar/health/a to map\n",
            recalculate + "childMap size:1",
            recalculate + "Key:/com/vexa/olvar/health/a status:4 health:0",
            recalculate + "Recalculated health : 4, oldHealth:2\n",
            send + "Send signal for /com/vexa/olvar/health/a with health 4\n",
            send + "Parent : /com/vexa/olvar/health",
            "8 " + add + " Exit : "}));
}

TEST_F(FaultAddition, AddsAFaultThatLeavesTheHealthInThisOrder)
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

TEST_F(FaultAddition, KeepsTheHealthOfAFaultThatIsAsBadAsAChild)
{
    const auto object = make();
    const auto childReports = [this](uint32_t health) {
        connection.signal((key + "/b").c_str(),
                          "com.vexa.olvar.healthmgr.HealthStatus",
                          "HealthStatusUpdate", "ssu", key.c_str(),
                          (key + "/b").c_str(), health);
    };
    childReports(4);
    EXPECT_EQ(health(), 4u);
    ASSERT_EQ(add(*object, 1), 0);
    childReports(0);
    EXPECT_EQ(health(), 4u) << "the fault is still there";
    remove(*object);
    EXPECT_EQ(health(), 2u);
}

TEST_F(FaultAddition, IgnoresAnInformationalMessage)
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

TEST_F(FaultAddition, MakesFaultsOfSeveritiesUpToTwo)
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

TEST_F(FaultAddition, ReportsAnUnknownMessage)
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

TEST_F(FaultAddition, ReportsThatMemoryRunsOut)
{
    const auto object = make();
    journal().fail("MsgRegGetContentWNByMsgID", [] {
        throw std::bad_alloc();
    });
    EXPECT_EQ(addByMessage(*object, "NONE"), 5);
    EXPECT_EQ(
        journal().lines().back(),
        "log 2 271 EXCEPTION hmi_fault_health.#.addFault: std::bad_alloc");
    EXPECT_THAT(faults(), testing::IsEmpty());
}

TEST_F(FaultAddition, KeepsBothFaultsOfOneMessageAndSensor)
{
    const auto object = make();
    EXPECT_EQ(add(*object, 1), 0);
    EXPECT_EQ(add(*object, 1), 0);
    EXPECT_EQ(faults().size(), 2u);
}

TEST_F(FaultAddition, FailsToAddWhenTheEntryIsRefused)
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

TEST_F(FaultAddition, FailsToAddWhenTheDataCacheThrows)
{
    const auto object = make();
    journal().fail("datacache_faultentry_create", [] {
        throw std::runtime_error("broken");
    });
    EXPECT_EQ(add(*object, 1), 4);
    EXPECT_EQ(health(), 2u);
}

TEST_F(FaultAddition, WithdrawsAnEntryThatCannotBeAnnounced)
{
    const auto object = make();
    journal().answer("sd_bus_send FaultEntryAdded", -ENOTCONN);
    EXPECT_EQ(add(*object, 1), 4);
    EXPECT_EQ(faults(), Lines{});
    EXPECT_EQ(health(), 2u);
    EXPECT_EQ(object->computeHealthStatusFromFaultList(), 2u);
    EXPECT_EQ(journal().count("InterfacesRemoved"), 1u);
}

TEST_F(FaultAddition, WithdrawsAnEntryWhoseHealthCannotBeSent)
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

TEST_F(FaultAddition, RestoresTheHealthEvenWhenNothingCanBeSentAtAll)
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

TEST_F(FaultAddition, RefusesTextsThatTheBusCannotCarry)
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
    EXPECT_EQ(journal().count("signal"), 1u) << "only the node's first update";
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION "
                              "hmi_fault_health.#.addFault: MessageID is not "
                              "UTF-8 text without NUL"),
              2u);
    EXPECT_EQ(object->addFault(ok, ok, {"\uFDD0"}, ok, ok, 1, 1, ok, 1, ok, 0),
              4)
        << "a noncharacter";
    EXPECT_EQ(object->addFault(ok, ok, none, ok, bad, 1, 1, ok, 1, ok, 0), 0)
        << "the subsystem is not used";
}

TEST_F(FaultAddition, RefusesMoreTextThanAMessageShouldHold)
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

TEST_F(FaultAddition, AddsAFaultWithoutArgumentsOrTexts)
{
    const auto object = make();
    EXPECT_EQ(object->addFault("", "", {}, "", "", 0, 0, "", 1, "", 0), 0);
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(FaultAddition, KeepsAnOldFaultWhoseNumberIsReused)
{
    const auto object = make();
    const uint16_t before = lastNumber();
    add(*object, 1, "OLD");
    for (int i = 0; i < 0xFFFF; ++i)
    {
        static_cast<void>(FaultEntry::GetUniqueFaultNumber());
    }
    const std::string path = makePath(static_cast<uint16_t>(before + 1), 4);
    ASSERT_EQ(faults(), Lines{path});
    EXPECT_EQ(add(*object, 1, "NEW"), 4);
    EXPECT_EQ(messages(), Lines{"OLD"});
    EXPECT_EQ(health(), 4u);
    EXPECT_EQ(add(*object, 1, "NEW"), 0);
    EXPECT_EQ(faults().size(), 2u);
}

} // namespace
} // namespace health_namespace
