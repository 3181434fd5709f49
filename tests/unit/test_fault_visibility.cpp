// SPDX-License-Identifier: Apache-2.0
#include "hiding_test.hpp"

#include <gmock/gmock.h>

#include <cerrno>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;

class FaultVisibility : public HidingTest
{
  protected:
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

} // namespace
} // namespace health_namespace
