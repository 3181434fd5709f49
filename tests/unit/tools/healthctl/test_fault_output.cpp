// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "model/fault_name.hpp"
#include "output/fault_output.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

std::string
printed(const Faults& faults,
        const std::optional<host::Explanations>& explanations = std::nullopt)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    std::ostringstream out;
    const Context context{.out = out, .style = Style(false, true), .width = {}};
    printFaults(context, faults, explanations);
    return out.str();
}

TEST(FaultOutput, IsARowAndTheMessage)
{
    EXPECT_EQ(printed({makeFault("/com/vexa/olvar/health/fan", "Slow", 3)}),
              "• warning  1970-01-01 00:00:00  fan  Slow\n"
              "  The message of Slow\n");
}

/** The explanation of a message without arguments. */
host::Explanation makeExplanation(const std::string& resolution)
{
    host::Explanation explanation;
    explanation.resolution = resolution;
    return explanation;
}

TEST(FaultOutput, ExplainsAFaultBelowIt)
{
    const Fault fault = makeFault("/a", "Slow", 3);
    EXPECT_THAT(
        printed({fault}, host::Explanations{{"Slow", makeExplanation("Go.")}}),
        HasSubstr("  The message of Slow\n    Resolution  Go.\n"));
    EXPECT_THAT(printed({fault}, host::Explanations{}),
                HasSubstr("  The message of Slow\n"
                          "    Not explained: no message registry and no event "
                          "table has this message.\n"));
}

TEST(FaultOutput, EscapesControlCharactersInExplanations)
{
    EXPECT_THAT(
        printed({makeFault("/a", "Slow", 3)},
                host::Explanations{{"Slow", makeExplanation("\x1b[2J\nGo.")}}),
        HasSubstr("Resolution  \\x1b[2J Go.\n"));
}

TEST(FaultOutput, HasExplanationsInJsonOnlyWhenTheyAreWanted)
{
    const Faults faults{makeFault("/a", "Slow", 3), makeFault("/a", "Odd", 3)};
    const auto json = toJson(faults, {{"Slow", makeExplanation("Go.")}});
    EXPECT_EQ(json[0]["explanation"]["resolution"], "Go.");
    EXPECT_EQ(json[1]["explanation"], nullptr);
    EXPECT_FALSE(toJson(faults)[0].contains("explanation"));
}

TEST(FaultOutput, MarksHiddenFaults)
{
    EXPECT_THAT(printed({makeFault("/a", "Slow", 3, 0, true)}),
                HasSubstr("Slow  hidden\n"));
}

TEST(FaultOutput, NamesTheSilencesThatHideAFault)
{
    Fault fault = makeFault("/a", "Slow", 3, 0, true);
    fault.silences = {3};
    EXPECT_THAT(printed({fault}), HasSubstr("Slow  silence 3\n"));
    fault.silences = {3, 12};
    EXPECT_THAT(printed({fault}), HasSubstr("Slow  silences 3 12\n"));
    EXPECT_EQ(toJson(fault)["silences"], nlohmann::ordered_json({3, 12}));
}

TEST(FaultOutput, TellsWhoHasAcknowledgedAFault)
{
    Fault fault = makeFault("/a", "Slow", 3);
    // A user without a name.
    fault.acknowledgement =
        Acknowledgement{.time = 60, .user = 4'000'000'000, .comment = "why"};
    EXPECT_THAT(printed({fault}),
                HasSubstr("  The message of Slow\n"
                          "  acknowledged 1970-01-01 00:01:00 by 4000000000: "
                          "why\n"));
    const auto json = toJson(fault)["acknowledgement"];
    EXPECT_EQ(json["time"], "1970-01-01T00:01:00Z");
    EXPECT_EQ(json["uid"], 4'000'000'000);
    EXPECT_EQ(json["user"], "4000000000");
    EXPECT_EQ(json["comment"], "why");
}

TEST(FaultOutput, NamesTheEntriesOfAComponentWithSeveralFaults)
{
    const Fault first = makeFault("/a", "Slow", 3);
    const Fault second = makeFault("/a", "Hot", 3);
    const Fault other = makeFault("/b", "Hot", 3);
    const std::string text = printed({first, second, other});
    EXPECT_THAT(text, HasSubstr("  entry " + entryName(first.path) + "\n"));
    EXPECT_THAT(text, HasSubstr("  entry " + entryName(second.path) + "\n"));
    EXPECT_EQ(printed({first, other}).find("  entry "), std::string::npos);
}

/** A fault that an operator has raised for trial. */
Fault makeTrial(bool hidden)
{
    FaultEntryProperties properties;
    properties.messageID = "Slow";
    properties.fqdd = "HealthManager.Trial";
    properties.hidden = hidden;
    return {"/a/entry/x", FaultEntry_gen(properties)};
}

TEST(FaultOutput, MarksFaultsForTrial)
{
    EXPECT_THAT(printed({makeTrial(false)}), HasSubstr("Slow  trial\n"));
    EXPECT_THAT(printed({makeTrial(true)}), HasSubstr("Slow  hidden, trial\n"));
    EXPECT_EQ(toJson(makeTrial(false))["trial"], true);
    EXPECT_EQ(toJson(makeFault("/a", "Slow", 3))["trial"], false);
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
    EXPECT_EQ(json["silences"], nlohmann::ordered_json::array());
    EXPECT_EQ(json["acknowledgement"], nullptr);
    EXPECT_EQ(json.size(), 18U);
}

} // namespace
} // namespace healthintf::healthctl
