// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "slots.hpp"
#include "text.hpp"

#include <com/vexa/olvar/healthmgr/FaultEntry/server.hpp>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <type_traits>

namespace sdbusplus::server::com::vexa::olvar::healthmgr
{
namespace
{

using namespace healthintf::test;
using testing::HasSubstr;
using Strings = std::vector<std::string>;

constexpr const char* path = "/com/vexa/olvar/health/a/entry/Fault_1";

FaultEntry::PropertyMap properties()
{
    return {{"FQDD", "Fan.1"},
            {"MessageID", "FAN0001"},
            {"Message", "Fan 7 failed."},
            {"Args", Strings{"7"}},
            {"Timestamp", uint64_t{1'700'000'000}},
            {"Severity", 4u},
            {"SensorPath", "/sensors/fan7"},
            {"SensorNumber", 48u},
            {"SensorType", 4u},
            {"Hidden", true},
            {"LedState", int32_t{3}},
            {"LcdMessage", "Fan 7"}};
}

class FaultEntryServer : public LibraryTest
{
  protected:
    FaultEntry make(bool skipSignal = false)
    {
        return FaultEntry(bus, path, properties(), skipSignal);
    }
};

TEST_F(FaultEntryServer, AppliesEveryPropertyInTheOrderOfTheMap)
{
    const FaultEntry object = make();
    EXPECT_EQ(journal().take("PropertiesChanged"),
              (Lines{"PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 Args",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 Hidden",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 LcdMessage",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 LedState",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 Message",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 MessageID",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 SensorNumber",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 SensorPath",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 SensorType",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 Severity",
                     "PropertiesChanged /com/vexa/olvar/health/a/entry/"
                     "Fault_1 Timestamp"}));
    EXPECT_EQ(object.fqdd(), "Fan.1");
    EXPECT_EQ(object.messageID(), "FAN0001");
    EXPECT_EQ(object.message(), "Fan 7 failed.");
    EXPECT_EQ(object.args(), Strings{"7"});
    EXPECT_EQ(object.timestamp(), 1'700'000'000u);
    EXPECT_EQ(object.severity(), 4u);
    EXPECT_EQ(object.sensorPath(), "/sensors/fan7");
    EXPECT_EQ(object.sensorNumber(), 48u);
    EXPECT_EQ(object.sensorType(), 4u);
    EXPECT_EQ(object.ledState(), 3);
    EXPECT_EQ(object.lcdMessage(), "Fan 7");
    EXPECT_TRUE(object.hidden());
}

TEST_F(FaultEntryServer, WritesTheRecordOnceWhenCreated)
{
    const FaultEntry object = make();
    EXPECT_EQ(journal().count("datacache_faultentry_create"), 1u);
    EXPECT_EQ(journal().count("datacache_faultentry_set_property"), 0u);
    EXPECT_EQ(journal().count("faultentry_cluster.PropertyChanged"), 12u);
    EXPECT_EQ(platform().faultRecords.at(path), properties());
}

TEST_F(FaultEntryServer, SendsNoSignalsWhenToldNotTo)
{
    const FaultEntry object = make(true);
    EXPECT_EQ(journal().count("PropertiesChanged"), 0u);
    EXPECT_EQ(journal().count("faultentry_cluster.PropertyChanged"), 12u);
}

TEST_F(FaultEntryServer, LogsRemovesAndUnregistersInThisOrder)
{
    auto object = std::make_unique<FaultEntry>(bus, path, properties(), false);
    journal().take();
    object.reset();
    EXPECT_EQ(journal().take(),
              (Lines{"log 9 128 server.67.~FaultEntry: destructor called, DAL "
                     "true",
                     "datacache_faultentry_remove "
                     "/com/vexa/olvar/health/a/entry/Fault_1",
                     "~faultentry_cluster"}));
}

TEST_F(FaultEntryServer, HasNoRecordWithTheMarker)
{
    {
        auto marked = properties();
        marked["meta-NonCached"] = true;
        FaultEntry object(bus, path, marked, false);
        object.hidden(false);
    }
    EXPECT_EQ(journal().count("datacache_"), 0u);
}

TEST_F(FaultEntryServer, WritesTheCacheButAnnouncesNothingForTheValueHeld)
{
    FaultEntry object = make();
    journal().take();
    EXPECT_TRUE(object.hidden(true));
    object.args({"7"});
    EXPECT_EQ(journal().take(),
              (Lines{"datacache_faultentry_set_property "
                     "/com/vexa/olvar/health/a/entry/Fault_1 Hidden=true",
                     "datacache_faultentry_set_property "
                     "/com/vexa/olvar/health/a/entry/Fault_1 Args=['7']"}));
}

TEST_F(FaultEntryServer, WritesEachPropertyUnderItsName)
{
    FaultEntry object = make();
    journal().take();
    object.fqdd("f");
    object.messageID("i");
    object.message("m");
    object.args({"a", "b"});
    object.timestamp(1);
    object.severity(2);
    object.sensorPath("p");
    object.sensorNumber(3);
    object.sensorType(5);
    object.ledState(-1);
    object.lcdMessage("l");
    object.hidden(false);
    const std::string set =
        std::string("datacache_faultentry_set_property ") + path + " ";
    EXPECT_EQ(
        journal().take(set),
        (Lines{set + "FQDD='f'", set + "MessageID='i'", set + "Message='m'",
               set + "Args=['a', 'b']", set + "Timestamp=1", set + "Severity=2",
               set + "SensorPath='p'", set + "SensorNumber=3",
               set + "SensorType=5", set + "LedState=-1",
               set + "LcdMessage='l'", set + "Hidden=false"}));
}

TEST_F(FaultEntryServer, AnnouncesEachChangeExceptOfTheConstantProperty)
{
    FaultEntry object = make();
    connection.settle();
    int heard = 0;
    sd_bus_slot* slot = nullptr;
    const auto count = [](sd_bus_message*, void* context, sd_bus_error*) {
        ++*static_cast<int*>(context);
        return 0;
    };
    ASSERT_GE(sd_bus_add_match(connection.peer(), &slot,
                               "type='signal',member='PropertiesChanged'",
                               count, &heard),
              0);
    const std::unique_ptr<sd_bus_slot, Unref> owned(slot);

    EXPECT_EQ(object.fqdd("Fan.2"), "Fan.2");
    connection.settle();
    EXPECT_EQ(heard, 0);
    object.message("other");
    connection.settle();
    EXPECT_EQ(heard, 1);
    object.setPropertyByName("Message", std::string("third"));
    connection.settle();
    EXPECT_EQ(heard, 2) << "unless it is told not to";
    object.setPropertyByName("Message", std::string("fourth"), true);
    connection.settle();
    EXPECT_EQ(heard, 2);
}

TEST_F(FaultEntryServer, KeepsTheOldValueWhenTheCacheRefusesTheNew)
{
    FaultEntry object = make();
    journal().answer("datacache_faultentry_set_property", 1);
    EXPECT_EQ(object.message("other"), "Fan 7 failed.");
    EXPECT_EQ(object.message(), "Fan 7 failed.");
}

TEST_F(FaultEntryServer, RefusesAValueOfAnotherType)
{
    FaultEntry object = make();
    journal().take();
    try
    {
        object.setPropertyByName("Severity", "critical");
        FAIL() << "taken";
    }
    catch (const std::bad_variant_access& e)
    {
        EXPECT_STREQ(e.what(), "std::get: wrong index for variant");
    }
    EXPECT_EQ(object.severity(), 4u);
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(FaultEntryServer, GetsEachPropertyByName)
{
    const FaultEntry object = make();
    for (const auto& [name, value] : properties())
    {
        EXPECT_EQ(object.getPropertyByName(name), value) << name;
    }
    EXPECT_EQ(object.getPropertyByName("fqdd"),
              FaultEntry::PropertiesVariant(false));
}

TEST_F(FaultEntryServer, SendsItsSignals)
{
    FaultEntry object = make();
    const std::string head =
        std::string("signal ") + path + " com.vexa.olvar.healthmgr.FaultEntry ";
    journal().take();
    object.faultEntryAdded("f", "i", "m", {"a", "b"}, 1, 4, "p", 2, 3);
    object.faultEntryRemoved("f", "i", "p", 2, 3);
    object.hideFaultForSensor(true, "h", "p", -1);
    EXPECT_EQ(journal().take(),
              (Lines{head + "FaultEntryAdded sssastusuu: 'f' 'i' 'm' ['a', "
                            "'b'] 1 4 'p' 2 3",
                     head + "FaultEntryRemoved sssuu: 'f' 'i' 'p' 2 3",
                     head + "HideFaultForSensor bssi: true 'h' 'p' -1"}));
}

TEST_F(FaultEntryServer, SendsAnEmptyArrayForNoArguments)
{
    FaultEntry object = make();
    journal().take();
    object.faultEntryAdded("f", "i", "m", {}, 1, 4, "p", 2, 3);
    EXPECT_THAT(journal().take().front(),
                HasSubstr("FaultEntryAdded sssastusuu: 'f' 'i' 'm' [] 1 4 "));
}

TEST_F(FaultEntryServer, NamesTheCallThatFailedToSend)
{
    FaultEntry object = make();
    journal().answer("sd_bus_send FaultEntryRemoved", -ENOTCONN);
    try
    {
        object.faultEntryRemoved("", "", "", 0, 0);
        FAIL() << "sent";
    }
    catch (const exception::SdBusError& e)
    {
        EXPECT_THAT(e.what(), testing::StartsWith("sd_bus_send: "));
    }
}

TEST_F(FaultEntryServer, LeavesNothingWhenAPropertyIsOfAnotherType)
{
    auto wrong = properties();
    wrong["Severity"] = "critical";
    EXPECT_THROW(FaultEntry(bus, path, wrong, false), std::bad_variant_access);
    EXPECT_TRUE(platform().faultRecords.empty());
    EXPECT_NO_THROW(make()) << "the path is free again";
}

TEST_F(FaultEntryServer, LeavesTheRecordOfAnEntryWhosePathIsTaken)
{
    const FaultEntry object = make();
    EXPECT_THROW(make(), exception::SdBusError);
    EXPECT_EQ(platform().faultRecords.count(path), 1u);
}

TEST_F(FaultEntryServer, ShowsItsMembersInTheOrderOfItsTable)
{
    const FaultEntry object = make();
    const MessagePtr reply = connection.call(
        path, "org.freedesktop.DBus.Introspectable", "Introspect", "");
    const std::string xml = arguments(reply.get());
    const auto at =
        xml.find("<interface name=\"com.vexa.olvar.healthmgr.FaultEntry\">");
    ASSERT_NE(at, std::string::npos);
    const std::string shown = xml.substr(at, xml.find("</interface>", at) - at);

    std::string expected =
        "<interface name=\"com.vexa.olvar.healthmgr.FaultEntry\">\n";
    const auto signal = [&](const std::string& name, const Strings& types) {
        expected += "  <signal name=\"" + name + "\">\n";
        for (const auto& type : types)
        {
            expected += "   <arg type=\"" + type + "\"/>\n";
        }
        expected += "  </signal>\n";
    };
    const auto property = [&](const std::string& name, const std::string& type,
                              const std::string& annotation = "") {
        expected += "  <property name=\"" + name + "\" type=\"" + type +
                    "\" access=\"read\">\n" + annotation + "  </property>\n";
    };
    signal("FaultEntryAdded", {"s", "s", "s", "as", "t", "u", "s", "u", "u"});
    signal("FaultEntryRemoved", {"s", "s", "s", "u", "u"});
    signal("HideFaultForSensor", {"b", "s", "s", "i"});
    property("FQDD", "s",
             "   <annotation name=\"org.freedesktop.DBus.Property."
             "EmitsChangedSignal\" value=\"const\"/>\n");
    property("MessageID", "s");
    property("Message", "s");
    property("Args", "as");
    property("Timestamp", "t");
    property("Severity", "u");
    property("SensorPath", "s");
    property("SensorNumber", "u");
    property("SensorType", "u");
    property("LedState", "i");
    property("LcdMessage", "s");
    property("Hidden", "b");
    EXPECT_EQ(shown, expected + " ");
}

TEST_F(FaultEntryServer, KeepsItsVirtualFunctionsInTheirSlots)
{
    using E = FaultEntry;
    EXPECT_EQ((getSlots<E, std::string>(&E::fqdd, &E::fqdd, &E::fqdd)),
              (PropertySlots{2, 3, 4}));
    EXPECT_EQ(
        (getSlots<E, std::string>(&E::messageID, &E::messageID, &E::messageID)),
        (PropertySlots{5, 6, 7}));
    EXPECT_EQ((getSlots<E, std::string>(&E::message, &E::message, &E::message)),
              (PropertySlots{8, 9, 10}));
    EXPECT_EQ((getSlots<E, Strings>(&E::args, &E::args, &E::args)),
              (PropertySlots{11, 12, 13}));
    EXPECT_EQ(
        (getSlots<E, uint64_t>(&E::timestamp, &E::timestamp, &E::timestamp)),
        (PropertySlots{14, 15, 16}));
    EXPECT_EQ((getSlots<E, uint32_t>(&E::severity, &E::severity, &E::severity)),
              (PropertySlots{17, 18, 19}));
    EXPECT_EQ((getSlots<E, std::string>(&E::sensorPath, &E::sensorPath,
                                        &E::sensorPath)),
              (PropertySlots{20, 21, 22}));
    EXPECT_EQ((getSlots<E, uint32_t>(&E::sensorNumber, &E::sensorNumber,
                                     &E::sensorNumber)),
              (PropertySlots{23, 24, 25}));
    EXPECT_EQ(
        (getSlots<E, uint32_t>(&E::sensorType, &E::sensorType, &E::sensorType)),
        (PropertySlots{26, 27, 28}));
    EXPECT_EQ((getSlots<E, int32_t>(&E::ledState, &E::ledState, &E::ledState)),
              (PropertySlots{29, 30, 31}));
    EXPECT_EQ((getSlots<E, std::string>(&E::lcdMessage, &E::lcdMessage,
                                        &E::lcdMessage)),
              (PropertySlots{32, 33, 34}));
    EXPECT_EQ((getSlots<E, bool>(&E::hidden, &E::hidden, &E::hidden)),
              (PropertySlots{35, 36, 37}));
}

TEST_F(FaultEntryServer, DerivesFromItsConstantsAndItsCluster)
{
    EXPECT_TRUE(
        (std::is_base_of_v<common::com::vexa::olvar::healthmgr::FaultEntry,
                           FaultEntry>));
    EXPECT_TRUE((std::is_base_of_v<faultentry_cluster, FaultEntry>));
    EXPECT_FALSE(std::is_polymorphic_v<faultentry_cluster>);
}

} // namespace
} // namespace sdbusplus::server::com::vexa::olvar::healthmgr
