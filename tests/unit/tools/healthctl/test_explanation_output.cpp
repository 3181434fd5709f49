// SPDX-License-Identifier: Apache-2.0
#include "output/explanation_output.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::Explanation;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/** A message of a registry with two arguments. */
Explanation makeMessage()
{
    return {.id = "Fan.1.2.3.Slow",
            .severity = "critical",
            .text = "%1 turns at %2.",
            .description = "It turns slowly.",
            .resolution = "Clean it.",
            .arguments = {{.place = "%1",
                           .type = "string",
                           .description = "The fan.",
                           .optional = false},
                          {.place = "%2",
                           .type = "",
                           .description = "",
                           .optional = false}},
            .file = "/registries/fan.json",
            .event = std::nullopt};
}

/** A message of the event table with one argument that all faults have, and two
 *  that some lack. */
Explanation makeEvent()
{
    return {.id = "TMP0001",
            .severity = "informational",
            .text = "{sensor} is hot[: {reading}][, {threshold}].",
            .description = "",
            .resolution = "",
            .arguments = {{.place = "{sensor}",
                           .type = "string",
                           .description = "The name.",
                           .optional = false},
                          {.place = "{reading}",
                           .type = "string",
                           .description = "The reading.",
                           .optional = true},
                          {.place = "{threshold}",
                           .type = "string",
                           .description = "The limit.",
                           .optional = true}},
            .file = "/events/own.json",
            .event = host::ExplainedEvent{.sensorType = "Temperature",
                                          .eventType = "Threshold",
                                          .offset = 0x0B,
                                          .asserted = false}};
}

TEST(ExplanationOutput, HasAFieldForAllThatARegistrySays)
{
    EXPECT_THAT(
        listFields(makeMessage()),
        ElementsAre(
            Pair("Identifier", "Fan.1.2.3.Slow"), Pair("Severity", "critical"),
            Pair("Message", "%1 turns at %2."),
            Pair("Description", "It turns slowly."),
            Pair("Resolution", "Clean it."), Pair("%1", "string: The fan."),
            Pair("%2", "not given"), Pair("File", "/registries/fan.json")));
}

TEST(ExplanationOutput, SaysWhatTheRegistryDoesNotSay)
{
    Explanation message = makeMessage();
    message.resolution.clear();
    EXPECT_THAT(listFields(message),
                testing::Contains(Pair("Resolution", "not given")));
}

TEST(ExplanationOutput, NamesTheStateOfAnEvent)
{
    EXPECT_THAT(
        listFields(makeEvent()),
        ElementsAre(
            Pair("Identifier", "TMP0001"), Pair("Severity", "informational"),
            Pair("Message", "{sensor} is hot[: {reading}][, {threshold}]."),
            Pair("Sensor type", "Temperature"), Pair("Event type", "Threshold"),
            Pair("State", "offset 0x0b, deasserted"),
            Pair("{sensor}", "string: The name."),
            Pair("{reading}", "string: The reading. Not in every fault."),
            Pair("{threshold}", "string: The limit. Not in every fault."),
            Pair("File", "/events/own.json")));
}

TEST(ExplanationOutput, NamesTheValuesOfAFault)
{
    EXPECT_THAT(listFields(makeMessage(), {"fan 1", "20"}),
                ElementsAre(Pair("Description", "It turns slowly."),
                            Pair("Resolution", "Clean it."),
                            Pair("%1", "The fan: fan 1"), Pair("%2", "20")));
}

TEST(ExplanationOutput, ShowsValuesThatAreMissingAndTooMany)
{
    Explanation message = makeMessage();
    message.description.clear();
    message.resolution.clear();
    EXPECT_THAT(
        listFields(message, {}),
        ElementsAre(Pair("%1", "The fan: not given"), Pair("%2", "not given")));
    EXPECT_THAT(listFields(message, {"a", "b", "c", "d"}),
                ElementsAre(Pair("%1", "The fan: a"), Pair("%2", "b"),
                            Pair("Other", "c"), Pair("Other", "d")));
    message.arguments.clear();
    EXPECT_THAT(listFields(message, {}), IsEmpty());
}

TEST(ExplanationOutput, NamesNoValueOfAnEventOfWhichSeveralMayBeMissing)
{
    EXPECT_THAT(listFields(makeEvent(), {"fan", "1", "2"}),
                ElementsAre(Pair("{sensor}", "The name: fan"),
                            Pair("{reading}", "The reading: 1"),
                            Pair("{threshold}", "The limit: 2")));
    EXPECT_THAT(
        listFields(makeEvent(), {"fan", "2"}),
        ElementsAre(Pair("{sensor}", "The name: fan"), Pair("Other", "2")));
    const auto json = toJson(makeEvent(), {"fan", "2"});
    EXPECT_EQ(json["arguments"][0]["value"], "fan");
    EXPECT_EQ(json["arguments"][1]["value"], nullptr);
    EXPECT_EQ(json["arguments"][2]["value"], nullptr);
}

TEST(ExplanationOutput, HasEverythingInJson)
{
    const auto message = toJson(makeMessage());
    EXPECT_EQ(message.size(), 8U);
    EXPECT_EQ(message["id"], "Fan.1.2.3.Slow");
    EXPECT_EQ(message["message"], "%1 turns at %2.");
    EXPECT_EQ(message["resolution"], "Clean it.");
    EXPECT_EQ(message["arguments"][0]["place"], "%1");
    EXPECT_FALSE(message["arguments"][0].contains("value"));
    EXPECT_EQ(message["event"], nullptr);
    EXPECT_EQ(message["file"], "/registries/fan.json");
    const auto event = toJson(makeEvent())["event"];
    EXPECT_EQ(event["sensorType"], "Temperature");
    EXPECT_EQ(event["eventType"], "Threshold");
    EXPECT_EQ(event["offset"], 11);
    EXPECT_EQ(event["asserted"], false);
    EXPECT_EQ(toJson(makeMessage(), {"fan 1"})["arguments"][0]["value"],
              "fan 1");
}

} // namespace
} // namespace healthintf::healthctl
