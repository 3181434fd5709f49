// SPDX-License-Identifier: Apache-2.0
#include "component_faults.hpp"
#include "library_test.hpp"

#include <gmock/gmock.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::hostmon
{
namespace
{

using namespace healthintf::test;
using health_namespace::FaultAndHealth;
using testing::UnorderedElementsAre;

const std::string root = "/com/vexa/olvar/health";
const std::string key = root + "/host";

/** A component with room for ten faults; the tests name its faults by numbers.
 */
class FaultsOfAComponent : public LibraryTest
{
  protected:
    FaultsOfAComponent()
    {
        platform().messages["W"] = {2, "%1"};
        platform().messages["C"] = {1, "%1!"};
        platform().messages[moreFaultsId] = {2, "%2 more"};
        platform().messages[moreCriticalFaultsId] = {1, "%2 more!"};
        haveHealthRecord(root, 2);
        component.reset(FaultAndHealth::Init(bus, key, 2, false));
        faults = std::make_unique<ComponentFaults>(key, *component);
    }

    void add(int number, Level level = Level::warning,
             const std::string& text = "")
    {
        faults->add(
            {.messageId = readId(level),
             .sensorPath = makePath(number),
             .arguments = {text.empty() ? std::to_string(number) : text},
             .fqdd = "",
             .subSystem = "",
             .sensorNumber = 1,
             .sensorType = 1,
             .level = level});
    }

    void remove(int number, Level level = Level::warning)
    {
        faults->remove(readId(level), makePath(number));
    }

    void addRange(int first, int last, Level level = Level::warning)
    {
        for (int number = first; number <= last; ++number)
        {
            add(number, level);
        }
    }

    /** Reports the faults and returns the texts of those that were reported. */
    Lines reported()
    {
        faults->report();
        Lines all;
        for (const auto& [path, record] : platform().faultRecords)
        {
            all.push_back(std::get<std::string>(record.at("Message")));
        }
        return all;
    }

    static std::string readId(Level level)
    {
        return level == Level::critical ? "C" : "W";
    }

    static std::string makePath(int number)
    {
        return "/sensor/" + std::to_string(number);
    }

    std::unique_ptr<FaultAndHealth> component;
    std::unique_ptr<ComponentFaults> faults;
};

TEST_F(FaultsOfAComponent, AreAllReportedWhileThereIsRoom)
{
    addRange(1, 10);
    EXPECT_THAT(reported(), UnorderedElementsAre("1", "2", "3", "4", "5", "6",
                                                 "7", "8", "9", "10"));
}

TEST_F(FaultsOfAComponent, AreReportedWithoutATextForAnUnknownMessage)
{
    platform().messages.clear();
    add(1);
    add(2, Level::critical, "sensor");
    EXPECT_THAT(reported(), UnorderedElementsAre("W (1)", "C (sensor)"));
    EXPECT_EQ(component->computeHealthStatusFromFaultList(), 4u);
    remove(2, Level::critical);
    EXPECT_EQ(reported(), Lines{"W (1)"});
    EXPECT_EQ(component->computeHealthStatusFromFaultList(), 3u);
}

TEST_F(FaultsOfAComponent, AreCountedWhenThereIsNoRoom)
{
    addRange(1, 11);
    EXPECT_THAT(reported(), UnorderedElementsAre("1", "2", "3", "4", "5", "6",
                                                 "7", "8", "9", "2 more"));
    addRange(12, 13);
    EXPECT_THAT(reported(), testing::Contains("4 more"));
    remove(12);
    EXPECT_THAT(reported(), testing::Contains("3 more"));
}

TEST_F(FaultsOfAComponent, AreReportedWhenThereIsRoomAgain)
{
    addRange(1, 12);
    reported();
    for (int number = 1; number <= 10; ++number)
    {
        remove(number);
    }
    EXPECT_THAT(reported(), UnorderedElementsAre("11", "12"));
}

TEST_F(FaultsOfAComponent, GiveWayToCriticalOnesAndReturn)
{
    addRange(1, 10);
    reported();
    add(11, Level::critical);
    EXPECT_THAT(reported(), UnorderedElementsAre("11!", "1", "2", "3", "4", "5",
                                                 "6", "7", "8", "2 more"));
    remove(11, Level::critical);
    EXPECT_THAT(reported(), UnorderedElementsAre("1", "2", "3", "4", "5", "6",
                                                 "7", "8", "9", "10"));
}

TEST_F(FaultsOfAComponent, AreCountedAsCriticalWhenOneOfThemIs)
{
    addRange(1, 11, Level::critical);
    EXPECT_THAT(reported(), testing::Contains("2 more!"));
    add(12);
    EXPECT_THAT(reported(), testing::Contains("3 more!"));
    remove(1, Level::critical);
    remove(2, Level::critical);
    EXPECT_THAT(reported(), testing::Contains("12"));
}

TEST_F(FaultsOfAComponent, NeverMakeTheLibraryDropOne)
{
    addRange(1, 30);
    reported();
    addRange(31, 60, Level::critical);
    reported();
    for (int number = 31; number <= 60; ++number)
    {
        remove(number, Level::critical);
    }
    EXPECT_EQ(reported().size(), 10u);
    EXPECT_THAT(journal().take(),
                testing::Not(testing::Contains(
                    testing::HasSubstr("removeLowestPriorityFaultEntry"))));
    // The library removes faults by message and sensor path.
    for (int number = 100; number <= 110; ++number)
    {
        std::string id = "W";
        std::string path = makePath(number);
        std::vector<std::string> arguments;
        std::string none;
        component->addFault(id, path, arguments, none, none, 1, 1);
    }
    EXPECT_THAT(journal().take(), testing::Contains(testing::HasSubstr(
                                      "removeLowestPriorityFaultEntry")));
}

TEST_F(FaultsOfAComponent, AreReportedWithTheNewestArguments)
{
    add(1, Level::warning, "early");
    journal().answer("sd_bus_add_object_vtable", -ENOBUFS);
    EXPECT_EQ(reported(), Lines{});
    add(1, Level::warning, "late");
    EXPECT_EQ(reported(), Lines{"late"});
    add(1, Level::warning, "too late");
    EXPECT_EQ(reported(), Lines{"late"});
}

TEST_F(FaultsOfAComponent, KeepTheOlderOneOfASensorWhileTheNewCannotBeReported)
{
    addRange(1, 2);
    reported();
    remove(1);
    remove(2);
    add(1, Level::critical);
    journal().answer("sd_bus_add_object_vtable", -ENOBUFS);
    EXPECT_EQ(reported(), Lines{"1"});
    EXPECT_EQ(reported(), Lines{"1!"});
}

} // namespace
} // namespace healthintf::hostmon
