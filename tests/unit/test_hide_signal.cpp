// SPDX-License-Identifier: Apache-2.0
#include "direct_connection.hpp"
#include "hiding_test.hpp"
#include "no_bus.hpp"

#include <gmock/gmock.h>

#include <cerrno>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::StartsWith;

class HideSignal : public HidingTest
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

} // namespace
} // namespace health_namespace
