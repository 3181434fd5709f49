// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "output/fault_output.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>
#include <sstream>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

std::string printed(const Faults& faults)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    std::ostringstream out;
    const Context context{.out = out, .style = Style(false, true), .width = {}};
    printFaults(context, faults);
    return out.str();
}

TEST(FaultOutput, IsARowAndTheMessage)
{
    EXPECT_EQ(printed({makeFault("/com/vexa/olvar/health/fan", "Slow", 3)}),
              "• warning  1970-01-01 00:00:00  fan  Slow\n"
              "  The message of Slow\n");
}

TEST(FaultOutput, MarksHiddenFaults)
{
    EXPECT_THAT(printed({makeFault("/a", "Slow", 3, 0, true)}),
                HasSubstr("Slow  hidden\n"));
}

TEST(FaultOutput, NamesTheSensorByWhichAFaultCanBeHidden)
{
    FaultEntryProperties properties;
    properties.sensorPath = "/sensors/fan";
    properties.sensorNumber = 7;
    const Fault fault{"/a/entry/x", FaultEntry_gen(properties)};
    EXPECT_THAT(printed({fault}), HasSubstr("  sensor /sensors/fan, number 7"));
}

TEST(FaultOutput, EscapesControlCharactersInMessages)
{
    FaultEntryProperties properties;
    properties.message = "\x1b[2Jgone";
    const Fault fault{"/a/entry/x", FaultEntry_gen(properties)};
    EXPECT_THAT(printed({fault}), HasSubstr("\\x1b[2Jgone"));
}

TEST(FaultOutput, HasEverythingInJson)
{
    const auto json = toJson(makeFault("/a", "Slow", 4, 1, true));
    EXPECT_EQ(json["component"], "/a");
    EXPECT_EQ(json["severity"], "critical");
    EXPECT_EQ(json["time"], "1970-01-01T00:00:01Z");
    EXPECT_EQ(json["hidden"], true);
    EXPECT_EQ(json.size(), 15U);
}

} // namespace
} // namespace healthintf::healthctl
