// SPDX-License-Identifier: Apache-2.0
#include "component_test.hpp"
#include "direct_connection.hpp"
#include "no_bus.hpp"

#include <gmock/gmock.h>

#include <cerrno>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::StartsWith;

const std::string log7 = "log 7 271 hmi_fault_health.#.";
const std::string log8 = "log 8 271 hmi_fault_health.#.";
const std::string hidingAll = log8 + "hideFaults Entry : Hide all Faults";
const std::string unhiding = log8 + "unhideFaults Entry : Unhide Faults";

std::string blockedBy(const std::string& flags)
{
    return log7 + "unhideFaults: " + flags + " atleast one of the entry is set";
}

class FaultVisibility : public ComponentTest
{
  protected:
    FaultVisibility() : object(make())
    {
        journal().take();
    }

    /** The changes of Hidden since the last take, with each fault's message
     *  instead of its path. */
    static Lines hiddenChanges()
    {
        const std::string call = "datacache_faultentry_set_property ";
        Lines changes;
        for (std::string& line : journal().take(call))
        {
            line.erase(0, call.size());
            const auto end = line.find(' ');
            const auto& record =
                platform().faultRecords.at(line.substr(0, end));
            changes.push_back(std::get<std::string>(record.at("MessageID")) +
                              line.substr(end));
        }
        return changes;
    }

    /** How often the node's health was set since the last take. */
    static std::size_t healthUpdates()
    {
        return journal()
            .take("log 7 271 hmi_health.#.updateHealthStatus: key:")
            .size();
    }

    std::unique_ptr<FaultAndHealth> object;
};

TEST_F(FaultVisibility, HidesEveryFaultEvenHiddenOnes)
{
    add(*object, 2, "A");
    add(*object, 1, "B");
    ASSERT_EQ(health(), 4u);
    EXPECT_EQ(object->hideFaults(), 2);
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"}));
    EXPECT_EQ(health(), 2u);
    journal().take();
    EXPECT_EQ(object->hideFaults(), 2);
    EXPECT_EQ(hiddenChanges(), (Lines{"A Hidden=true", "B Hidden=true"}));
}

TEST_F(FaultVisibility, HidesInThisOrder)
{
    add(*object, 1, "A");
    const std::string path = platform().faultRecords.begin()->first;
    journal().take();
    object->hideFaults();
    const Lines lines = journal().take();
    ASSERT_GE(lines.size(), 5u);
    EXPECT_EQ(
        Lines(lines.begin(), lines.begin() + 5),
        (Lines{hidingAll,
               "datacache_faultentry_set_property " + path + " Hidden=true",
               "faultentry_cluster.PropertyChanged " + path + " Hidden=true",
               "PropertiesChanged " + path + " Hidden",
               "log 7 271 hmi_health.#.updateHealthStatus: key:" + key +
                   ", status:2"}));
}

TEST_F(FaultVisibility, UpdatesTheHealthEvenWithoutFaultsToHide)
{
    EXPECT_EQ(object->hideFaults(), 2);
    EXPECT_EQ(healthUpdates(), 1u);
}

TEST_F(FaultVisibility, ReturnsTheHealthOfTheNodeWithItsChildren)
{
    connection.signal(
        (key + "/child").c_str(), "com.vexa.olvar.healthmgr.HealthStatus",
        "HealthStatusUpdate", "ssu", key.c_str(), (key + "/child").c_str(), 3u);
    add(*object, 1);
    EXPECT_EQ(object->hideFaults(), 3);
    EXPECT_EQ(object->unhideFaults(), 4);
}

TEST_F(FaultVisibility, HidesByNumberOnlyTheFaultsOfThatSensor)
{
    add(*object, 1, "A", "/a", 5);
    add(*object, 2, "B", "/b", 6);
    journal().take();
    object->hideFaults(5U);
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    EXPECT_EQ(health(), 3u);
}

TEST_F(FaultVisibility, HidesByPathOnlyTheFaultsOfThatSensor)
{
    add(*object, 1, "A", "/a", 5);
    add(*object, 2, "B", "/a/b", 5);
    add(*object, 2, "C", "/A", 5);
    journal().take();
    object->hideFaults("/a");
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    EXPECT_EQ(health(), 3u);
}

TEST_F(FaultVisibility, HidesFaultsWithoutASensorByTheEmptyPath)
{
    add(*object, 1, "A", "/a");
    add(*object, 2, "B", "");
    object->hideFaults("");
    EXPECT_EQ(hiddenMessages(), Lines{"B"});
}

TEST_F(FaultVisibility, LeavesTheHealthAloneWhenNoFaultIsOfTheSensor)
{
    add(*object, 1, "A", "/a", 5);
    journal().take();
    object->hideFaults(6U);
    object->hideFaults("/b");
    EXPECT_EQ(journal().take(), Lines{}) << "and logs nothing";
}

TEST_F(FaultVisibility, UpdatesTheHealthOnceForAllFaultsOfASensor)
{
    add(*object, 1, "A", "/a", 5);
    add(*object, 1, "B", "/a", 5);
    journal().take();
    object->hideFaults(5U);
    EXPECT_EQ(healthUpdates(), 1u);
    object->hideFaults("/a");
    EXPECT_EQ(healthUpdates(), 1u) << "also when they are hidden already";
}

TEST_F(FaultVisibility, RemembersASensorThatHasNoFaultYet)
{
    object->hideFaults(5U);
    object->hideFaults("/b");
    add(*object, 1, "A", "/a", 5);
    add(*object, 2, "B", "/b", 6);
    EXPECT_EQ(hiddenMessages(), Lines{}) << "a new fault is visible";
    EXPECT_EQ(health(), 4u);
    object->hideFaults();
    EXPECT_EQ(object->unhideFaults(), 0);
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"}));
}

TEST_F(FaultVisibility, RemembersASensorOnceHoweverOftenItIsHidden)
{
    add(*object, 1, "A", "/a", 5);
    object->hideFaults(5U);
    object->hideFaults(5U);
    EXPECT_EQ(object->unhideFaults(5U), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});
    object->hideFaults("/a");
    object->hideFaults("/a");
    EXPECT_EQ(object->unhideFaults("/a"), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(FaultVisibility, KeepsFaultsOfRememberedSensorsHidden)
{
    add(*object, 1, "A", "a", 1);
    add(*object, 1, "B", "b", 7);
    add(*object, 2, "C", "c", 3);
    object->hideFaults("a");
    object->hideFaults(7U);
    object->hideFaults();
    journal().take();
    EXPECT_EQ(object->unhideFaults(), 3);
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"}));
}

TEST_F(FaultVisibility, ShowsFaultsInThisOrder)
{
    add(*object, 1, "A", "a", 1);
    add(*object, 1, "B", "b", 7);
    add(*object, 2, "C", "c", 3);
    object->hideFaults("a");
    object->hideFaults(7U);
    journal().take();
    object->unhideFaults();
    const Lines lines = journal().take();
    const std::string path = platform().faultRecords.rbegin()->first;
    EXPECT_EQ(
        Lines(lines.begin(), lines.begin() + 5),
        (Lines{unhiding, log7 + "unhideFaults: 1:a:in list",
               log7 + "unhideFaults: 7:b:in list",
               "datacache_faultentry_set_property " + path + " Hidden=false",
               "log 7 271 hmi_health.#.updateHealthStatus: key:" + key +
                   ", status:3"}))
        << "a fault that was visible is set visible again";
}

TEST_F(FaultVisibility, LeavesTheHealthAloneWhenThereIsNothingToShow)
{
    EXPECT_EQ(object->unhideFaults(), 0);
    EXPECT_EQ(journal().take(), Lines{unhiding});
    add(*object, 1, "A", "a", 1);
    object->hideFaults("a");
    journal().take();
    EXPECT_EQ(object->unhideFaults(), 0);
    EXPECT_EQ(journal().take(),
              (Lines{unhiding, log7 + "unhideFaults: 1:a:in list"}));
}

TEST_F(FaultVisibility, ShowsAllUnrememberedFaultsForAnySensor)
{
    add(*object, 1, "A", "a", 1);
    add(*object, 2, "B", "b", 2);
    object->hideFaults();
    EXPECT_EQ(object->unhideFaults("unknown"), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});
    object->hideFaults();
    EXPECT_EQ(object->unhideFaults(99U), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(FaultVisibility, KeepsAFaultHiddenUntilNumberAndPathAreShown)
{
    add(*object, 1, "A", "a", 1);
    object->hideFaults(1U);
    object->hideFaults("a");
    EXPECT_EQ(object->unhideFaults(1U), 0);
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    EXPECT_EQ(object->unhideFaults("a"), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(FaultVisibility, ShowsNothingUnderAnyFlag)
{
    add(*object, 1, "A");
    object->HideAllFaults(true);
    journal().take();
    EXPECT_EQ(object->unhideFaults(), 0x2);
    EXPECT_EQ(journal().take(), (Lines{unhiding, blockedBy("0002")}));

    object->Disable();
    journal().take();
    EXPECT_EQ(object->unhideFaults(), 0xA);
    EXPECT_EQ(journal().take(), (Lines{unhiding, blockedBy("000a")}));

    object->HideAllFaults(false);
    journal().take();
    EXPECT_EQ(object->unhideFaults(48U), 0x8);
    EXPECT_EQ(journal().take(), (Lines{unhiding, blockedBy("0008")}));
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
}

TEST_F(FaultVisibility, ForgetsASensorUnderAFlag)
{
    add(*object, 1, "A", "a", 1);
    object->hideFaults(1U);
    object->HideAllFaults(true);
    EXPECT_EQ(object->unhideFaults(1U), 0x2);
    EXPECT_EQ(object->HideAllFaults(false), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(FaultVisibility, LiftsTheTwoFlagsInEitherOrder)
{
    add(*object, 1, "A");
    object->HideAllFaults(true);
    object->Disable();
    EXPECT_EQ(object->HideAllFaults(false), 0x8);
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    EXPECT_EQ(object->Enable(), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});

    object->Disable();
    object->HideAllFaults(true);
    EXPECT_EQ(object->Enable(), 0x2);
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    EXPECT_EQ(object->HideAllFaults(false), 4);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(FaultVisibility, HidesAgainAtEveryCall)
{
    object->HideAllFaults(true);
    add(*object, 1, "A");
    EXPECT_EQ(hiddenMessages(), Lines{});
    EXPECT_EQ(object->HideAllFaults(true), 2);
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
    EXPECT_EQ(object->HideAllFaults(false), 4);
    EXPECT_EQ(object->HideAllFaults(false), 4) << "shows what is visible";
}

TEST_F(FaultVisibility, SetsTheHealthToNoneBeforeItDisables)
{
    add(*object, 1, "A");
    journal().take();
    EXPECT_EQ(object->Disable(), 2);
    Lines lines = journal().take();
    EXPECT_EQ(
        Lines(lines.begin(), lines.begin() + 5),
        (Lines{log7 + "Disable: " + key,
               "datacache_healthstatus_set_property " + key + " HealthStatus=0",
               "healthstatus_cluster.PropertyChanged " + key +
                   " HealthStatus=0",
               "PropertiesChanged " + key + " HealthStatus", hidingAll}));
    EXPECT_EQ(health(), 2u);
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
}

TEST_F(FaultVisibility, DoesNothingWhenItIsDisabledTwice)
{
    object->Disable();
    add(*object, 1, "A");
    journal().take();
    EXPECT_EQ(object->Disable(), 0x8);
    object->HideAllFaults(true);
    journal().take();
    EXPECT_EQ(object->Disable(), 0xA);
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(FaultVisibility, DoesNothingWhenItIsEnabledTwice)
{
    add(*object, 1, "A");
    journal().take();
    EXPECT_EQ(object->Enable(), 0);
    object->HideAllFaults(true);
    journal().take();
    EXPECT_EQ(object->Enable(), 0x2);
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(FaultVisibility, SetsTheHealthToOkBeforeItEnables)
{
    add(*object, 1, "A");
    object->Disable();
    journal().take();
    EXPECT_EQ(object->Enable(), 4);
    const Lines lines = journal().take();
    EXPECT_EQ(
        Lines(lines.begin(), lines.begin() + 3),
        (Lines{log7 + "Enable: " + key,
               "datacache_healthstatus_set_property " + key + " HealthStatus=2",
               unhiding}));
    EXPECT_EQ(health(), 4u);
}

TEST_F(FaultVisibility, LeavesHealthOkWhereEnablingShowsNothing)
{
    object.reset();
    object = make(key, 3);
    object->Disable();
    EXPECT_EQ(health(), 3u);
    EXPECT_EQ(object->Enable(), 0);
    EXPECT_EQ(health(), 2u);
}

TEST_F(FaultVisibility, LogsAHealthThatCannotBeSent)
{
    add(*object, 1, "A", "a", 1);
    const auto failure = [](const std::string& function) {
        return "log 2 271 EXCEPTION hmi_fault_health.#." + function +
               ": sd_bus_send: System.Error.ENOTCONN: Transport endpoint is "
               "not connected";
    };
    const auto failing = [](auto&& operation) {
        journal().take();
        journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
        operation();
        return journal().take("log 2");
    };
    EXPECT_EQ(failing([&] {
                  EXPECT_EQ(object->hideFaults(), 2);
              }),
              Lines{failure("hideFaults")});
    EXPECT_EQ(failing([&] {
                  EXPECT_EQ(object->unhideFaults(), 4);
              }),
              Lines{failure("unhideFaults")});
    EXPECT_EQ(failing([&] {
                  object->hideFaults(1U);
              }),
              Lines{failure("hideFaults")});
    EXPECT_EQ(failing([&] {
                  EXPECT_EQ(object->unhideFaults(1U), 4);
              }),
              Lines{failure("unhideFaults")});
    EXPECT_EQ(failing([&] {
                  object->hideFaults("a");
              }),
              Lines{failure("hideFaults")});
    EXPECT_EQ(failing([&] {
                  EXPECT_EQ(object->unhideFaults("a"), 4);
              }),
              Lines{failure("unhideFaults")});
    EXPECT_EQ(failing([&] {
                  EXPECT_EQ(object->Disable(), 2);
              }),
              Lines{failure("hideFaults")});
    EXPECT_EQ(failing([&] {
                  EXPECT_EQ(object->Enable(), 4);
              }),
              Lines{failure("unhideFaults")});
}

class HideSignal : public FaultVisibility
{
  protected:
    HideSignal()
    {
        add(*object, 1, "A", "a", 1);
        add(*object, 2, "B", "b", 2);
        journal().take();
    }

    const std::string handler = log7 + "hideFaultSignalHandler: ";
};

TEST_F(HideSignal, DisablesTheComponentThatItNames)
{
    sendHide(true, key, "", 0);
    const Lines lines = journal().take();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], handler + key);
    EXPECT_EQ(lines[1], hidingAll);
    EXPECT_EQ(lines.back(), handler + "Health Path Matched");
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"}));
    EXPECT_EQ(object->unhideFaults(), 0x8);
    EXPECT_EQ(object->Disable(), 0x8);

    sendHide(false, key, "", 0);
    EXPECT_EQ(hiddenMessages(), Lines{});
    EXPECT_EQ(object->Enable(), 0) << "it is enabled";
}

TEST_F(HideSignal, DoesNotSetTheHealthDirectly)
{
    sendHide(true, key, "", 0);
    sendHide(false, key, "", 0);
    EXPECT_EQ(
        journal().take("datacache_healthstatus_set_property"),
        (Lines{"datacache_healthstatus_set_property " + key + " HealthStatus=2",
               "datacache_healthstatus_set_property " + key +
                   " HealthStatus=4"}));
}

TEST_F(HideSignal, TakesEffectTwiceUnlikeDisable)
{
    sendHide(true, key, "", 0);
    add(*object, 1, "C");
    sendHide(true, key, "", 0);
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B", "C"}));
}

TEST_F(HideSignal, KeepsAComponentHiddenThatTheLcdHides)
{
    object->HideAllFaults(true);
    sendHide(true, key, "", 0);
    journal().take();
    sendHide(false, key, "", 0);
    EXPECT_EQ(journal().take(),
              (Lines{handler + key, unhiding, blockedBy("0002"),
                     handler + "Health Path Matched"}));
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"}));
}

TEST_F(HideSignal, LooksAtNoSensorWhenItNamesTheComponent)
{
    sendHide(true, key, "a", 1);
    sendHide(false, key, "", 0);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(HideSignal, HidesAndShowsTheSensorOfItsPath)
{
    sendHide(true, "", "a", 2);
    EXPECT_EQ(hiddenMessages(), Lines{"A"}) << "and not that of the number";
    EXPECT_EQ(object->unhideFaults(), 3) << "and remembers it";
    sendHide(false, "", "a", 0);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(HideSignal, HidesAndShowsTheSensorOfItsNumber)
{
    sendHide(true, "", "", 2);
    EXPECT_EQ(hiddenMessages(), Lines{"B"});
    EXPECT_EQ(object->unhideFaults(), 4) << "and remembers it";
    sendHide(false, "", "", 2);
    EXPECT_EQ(hiddenMessages(), Lines{});
}

TEST_F(HideSignal, HidesBySensorWhenItNamesAnotherComponent)
{
    sendHide(true, root + "/other", "a", 0);
    sendHide(true, root + "/other", "", 2);
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"}));
    EXPECT_EQ(journal().take(handler), Lines(2, handler + key));
}

TEST_F(HideSignal, TakesANegativeNumberAsUnsigned)
{
    add(*object, 1, "C", "c", 0xFFFFFFFF);
    sendHide(true, "", "", -1);
    EXPECT_EQ(hiddenMessages(), Lines{"C"});
}

TEST_F(HideSignal, ChangesNothingWhenItNamesNothing)
{
    sendHide(true, "", "", 0);
    sendHide(true, root + "/other", "", 0);
    EXPECT_EQ(journal().take(), Lines(2, handler + key));
}

TEST_F(HideSignal, DoesNotThrowWhenTheHealthCannotBeSent)
{
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    sendHide(true, key, "", 0);
    EXPECT_EQ(
        journal().take("log 2"),
        Lines{"log 2 271 EXCEPTION hmi_fault_health.#.hideFaultSignalHandler: "
              "sd_bus_send: System.Error.ENOTCONN: Transport endpoint is not "
              "connected"});
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"}));
    sendHide(false, key, "", 0);
    EXPECT_EQ(hiddenMessages(), Lines{}) << "and obeys the next";
}

TEST_F(HideSignal, ChangesNothingWhenItIsMalformed)
{
    const auto hide = [this](const char* types, auto... args) {
        connection.signal(root.c_str(), "com.vexa.olvar.healthmgr",
                          "HideFaultForSensor", types, args...);
    };
    hide("");
    hide("b", 1);
    hide("s", "true");
    hide("bs", 1, "/a");
    hide("bss", 1, "a", "b");
    hide("bssu", 1, "a", "b", 1u);
    hide("bsui", 1, "a", 1u, 1);
    hide("bus", 1, 1u, "b");
    hide("ssss", "true", "a", "b", "1");
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION "
                              "hmi_fault_health.#.hideFaultSignalHandler: "
                              "sd_bus_message_read_basic "),
              9u);
    EXPECT_EQ(hiddenMessages(), Lines{});
    sendHide(true, key, "", 0);
    EXPECT_EQ(hiddenMessages(), (Lines{"A", "B"})) << "and obeys the next";
}

TEST_F(HideSignal, MayHaveTextsOf1024Bytes)
{
    const std::string path(FaultAndHealth::maxHideText, 'p');
    add(*object, 3, "C", path, 3);
    sendHide(true, path, path, 0);
    EXPECT_EQ(hiddenMessages(), Lines{"C"});
}

TEST_F(HideSignal, IsRefusedWithALongerText)
{
    const std::string path(FaultAndHealth::maxHideText + 1, 'p');
    add(*object, 3, "C", path, 3);
    journal().take();
    sendHide(true, "", path, 0);
    sendHide(true, path, "", 1);
    sendHide(false, path, path, 1);
    const std::string refused =
        "log 2 271 hmi_fault_health.#.hideFaultSignalHandler: a hide signal "
        "is refused: a text has 1025 bytes, more than 1024";
    EXPECT_EQ(journal().take(), Lines(3, refused));
    EXPECT_EQ(hiddenMessages(), Lines{});
    sendHide(true, "", "a", 0);
    sendHide(false, "", "a", 0);
    EXPECT_EQ(hiddenMessages(), Lines{});
    object->hideFaults();
    object->unhideFaults();
    EXPECT_EQ(hiddenMessages(), Lines{}) << "the path is not remembered";
}

TEST_F(HideSignal, MayHaveMoreArgumentsThanItNeeds)
{
    connection.signal(root.c_str(), "com.vexa.olvar.healthmgr",
                      "HideFaultForSensor", "bssis", 1, "", "a", 0, "more");
    EXPECT_EQ(hiddenMessages(), Lines{"A"});
}

TEST_F(HideSignal, IsReceivedOnceAfterRegisteringAgain)
{
    object->RegisterForHideFaultsSignal();
    journal().take();
    sendHide(true, "", "", 0);
    EXPECT_EQ(journal().take(), Lines{handler + key});
}

TEST_F(HideSignal, IsNotSentWhenItNamesNothing)
{
    EXPECT_EQ(FaultAndHealth::SendHideFaultsSignal(true, "", "", 0), 1);
    EXPECT_EQ(journal().take(),
              (Lines{log8 + "SendHideFaultsSignal Entry : Hide Errors [0, ]",
                     "log 1 271 hmi_fault_health.#.SendHideFaultsSignal: All "
                     "the parameters are empty"}));
}

TEST_F(HideSignal, IsNotSentWithTextsThatDBusCannotCarry)
{
    EXPECT_EQ(FaultAndHealth::SendHideFaultsSignal(true, "\xFF", "", 0), 1);
    EXPECT_EQ(FaultAndHealth::SendHideFaultsSignal(true, "",
                                                   std::string("a\0b", 3), 0),
              1);
    EXPECT_EQ(FaultAndHealth::SendHideFaultsSignal(
                  true, "a", std::string(FaultAndHealth::maxFaultText, 'a'), 0),
              1);
    const std::string log =
        "log 1 271 hmi_fault_health.#.SendHideFaultsSignal: ";
    EXPECT_EQ(journal().take("log 1"),
              (Lines{log + "health path is not UTF-8 text without NUL",
                     log + "sensor path is not UTF-8 text without NUL",
                     log + "the texts have more than 1048576 bytes"}));
}

TEST_F(HideSignal, IsRefusedForTheFirstTextThatDBusCannotCarry)
{
    EXPECT_EQ(FaultAndHealth::SendHideFaultsSignal(true, "\xFF", "\xFF", 0), 1);
    EXPECT_EQ(journal().take("log 1"),
              (Lines{"log 1 271 hmi_fault_health.#.SendHideFaultsSignal: "
                     "health path is not UTF-8 text without NUL"}));
}

TEST_F(HideSignal, IsNotSentWithoutABus)
{
    haveNoBus();
    try
    {
        FaultAndHealth::SendHideFaultsSignal(true, key, "/sensor", -3);
        FAIL() << "sent";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        EXPECT_THAT(e.what(), StartsWith("sd_bus_message_new_signal: "));
    }
    EXPECT_EQ(journal().take(),
              Lines{log8 + "SendHideFaultsSignal Entry : Hide Errors [-3, " +
                    key + "]"});
}

TEST_F(FaultVisibility, KeepsEveryFaultWhenTheEventLogIsCleared)
{
    add(*object, 1);
    journal().take();
    connection.signal("/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
                      "ClearedSelEntries", "");
    connection.signal("/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
                      "ClearedSelEntries", "su", "anything", 1u);
    EXPECT_EQ(journal().take(),
              Lines(2, log7 + "clearSELSignalHandler: clear SEL Signal "
                              "Received"));
    EXPECT_EQ(messages(), Lines{"FAN0001"});
}

TEST_F(HideSignal, ReturnsZeroFromItsHandlers)
{
    sd_bus_message* raw = nullptr;
    ASSERT_GE(
        sd_bus_message_new_signal(connection.raw(), &raw, "/x", "a.b", "C"), 0);
    const MessagePtr owned(raw);
    ASSERT_GE(sd_bus_message_append(raw, "bssi", 1, "", "", 1), 0);
    ASSERT_GE(sd_bus_message_seal(raw, 1, 0), 0);
    sdbusplus::message_t message(raw);
    EXPECT_EQ(object->hideFaultSignalHandler(message), 0);
    EXPECT_EQ(object->clearSELSignalHandler(message), 0);
}

TEST_F(FaultVisibility, ReceivesTheClearedLogOnceAfterRegisteringAgain)
{
    object->RegisterForClearSELSignal();
    journal().take();
    connection.signal("/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
                      "ClearedSelEntries", "");
    EXPECT_EQ(journal().take().size(), 1u);
}

} // namespace
} // namespace health_namespace
