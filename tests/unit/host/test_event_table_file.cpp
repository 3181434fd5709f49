// SPDX-License-Identifier: Apache-2.0
#include "event_description/event_table_file.hpp"
#include "event_table_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace healthintf::host
{
namespace
{

using test::eventState;
using test::eventTypeFile;
using test::sensorTypeFile;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/** The error of a file; "none" when it is valid. */
std::string catchProblem(const std::string& text)
{
    try
    {
        parseEventTable(text);
    }
    catch (const EventTableError& e)
    {
        return e.what();
    }
    return "none";
}

/** A file with state 0x01 of sensor type 0xC0, in which one word is
 *  replaced. */
std::string fileWith(const std::string& word, const std::string& other)
{
    std::string state = eventState("BLD", "0031");
    state.replace(state.find(word), word.size(), other);
    return sensorTypeFile("0xC0", "BLD", "\n\"0x01\": " + state);
}

TEST(EventTableFile, HoldsSensorTypesWithTheirStates)
{
    const EventTableFile file =
        parseEventTable(fileWith("\"Lcd\"", "\"Led\": 4, \"Lcd\""));
    const SensorType& type = file.sensorTypes.at(0xC0);
    EXPECT_EQ(type.name, "Blade");
    EXPECT_EQ(type.category, "BLD");
    EXPECT_EQ(type.component, "Blade");
    const EventState& state = type.states.at(0x01);
    EXPECT_EQ(state.asserted.id, "BLD0031");
    EXPECT_EQ(state.asserted.severity, EventSeverity::critical);
    EXPECT_EQ(state.asserted.text, "{sensor} broke.");
    EXPECT_EQ(state.asserted.lcd, "{category} {number} broke");
    EXPECT_EQ(state.asserted.ledState, static_cast<LedState>(4));
    EXPECT_EQ(state.deasserted.severity, EventSeverity::informational);
    EXPECT_EQ(state.deasserted.ledState, LedState::none);
    EXPECT_EQ(&state.message(true), &state.asserted);
    EXPECT_EQ(&state.message(false), &state.deasserted);
}

TEST(EventTableFile, HoldsEventTypesForSensorsOfAnyType)
{
    const EventTableFile file = parseEventTable(
        eventTypeFile("0x70", "\"0x0e\": " + eventState("{category}", "7")));
    EXPECT_EQ(file.eventTypes.at(0x70).name, "Own");
    EXPECT_EQ(file.eventTypes.at(0x70).states.at(0x0E).asserted.id,
              "{category}7");
}

TEST(EventTableFile, LightsTheLedBySeverityByDefault)
{
    EXPECT_EQ(defaultLedState(EventSeverity::critical), LedState::fault);
    EXPECT_EQ(defaultLedState(EventSeverity::warning), LedState::attention);
    EXPECT_EQ(defaultLedState(EventSeverity::informational), LedState::none);
}

TEST(EventTableFile, HoldsTheMeaningsOfEventData)
{
    const std::string types = R"({"SensorTypes": {"0xC0": {"Name": "Blade",
"Category": "BLD", "Component": "Blade",
"Details": {"Cause": {"0x01": "it is bent"}},
"Offsets": {"0x01": {"Detail": "Cause",)";
    const std::string state = eventState("BLD", "0031").substr(1);
    const EventTableFile file = parseEventTable(types + state + "}}}}");
    EXPECT_EQ(file.sensorTypes.at(0xC0).states.at(0x01).details.at(0x01),
              "it is bent");
    std::string other = types;
    other.replace(other.find("\"Detail\": \"Cause\""), 17,
                  "\"Detail\": \"Other\"");
    EXPECT_THAT(catchProblem(other + state + "}}}}"),
                EndsWith("0x01: Detail: is no list of Details"));
}

TEST(EventTableFile, MayHaveTypesWithoutStates)
{
    EXPECT_EQ(catchProblem("{}"), "none");
    EXPECT_EQ(catchProblem(R"({"SensorTypes": {"0xC0": {"Name": "a",
                            "Category": "ABC", "Component": "b"}}})"),
              "none");
}

TEST(EventTableFile, NamesLineAndCause)
{
    EXPECT_EQ(catchProblem(fileWith("Critical", "Bad")),
              "line 3: SensorTypes: 0xC0: Offsets: 0x01: Asserted: Severity: "
              "is none of Critical, Warning and Informational");
    EXPECT_EQ(catchProblem("{\n\n]"), "line 3: no valid JSON");
}

TEST(EventTableFile, HasIdentifiersOfItsCategory)
{
    const std::string cause = "Id: is not BLD and letters or digits";
    EXPECT_THAT(catchProblem(fileWith("BLD0031", "FAN0031")), EndsWith(cause));
    EXPECT_THAT(catchProblem(fileWith("BLD0031", "BLD")), EndsWith(cause));
    EXPECT_THAT(catchProblem(fileWith("BLD0031", "BLD 31")), EndsWith(cause));
    EXPECT_EQ(catchProblem(fileWith("BLD0031", "BLD012345678901")), "none");
    EXPECT_THAT(catchProblem(fileWith("BLD0031", "BLD0123456789012")),
                EndsWith("Id: is longer than 15 bytes"));
    EXPECT_THAT(catchProblem(eventTypeFile("0x70", "\"0x01\": " +
                                                       eventState("BLD", "1"))),
                EndsWith("Id: is not {category} and letters or digits"));
}

TEST(EventTableFile, HasCategoriesOfThreeCapitals)
{
    for (const char* category : {"BL", "bld", "BL1", "UNK"})
    {
        EXPECT_THAT(catchProblem(sensorTypeFile("0xC0", category, "")),
                    EndsWith("three capital letters other than UNK"))
            << category;
    }
    EXPECT_THAT(catchProblem(sensorTypeFile("0xC0", "BLAD", "")),
                EndsWith("Category: is longer than 3 bytes"));
}

TEST(EventTableFile, HasTextsThatFit)
{
    EXPECT_THAT(catchProblem(fileWith("{sensor} broke.", "")),
                EndsWith("Text: is no text"));
    EXPECT_THAT(catchProblem(fileWith("{sensor}", "{colour}")),
                EndsWith("Text: has the unknown placeholder {colour}"));
    EXPECT_THAT(catchProblem(fileWith("{sensor}", std::string(256, 'x'))),
                EndsWith("Text: is longer than 255 bytes"));
    EXPECT_EQ(
        catchProblem(fileWith("{category} {number} broke",
                              "{category} {number} " + std::string(23, 'x'))),
        "none");
    EXPECT_THAT(
        catchProblem(fileWith("{category} {number} broke",
                              "{category} {number} " + std::string(24, 'x'))),
        EndsWith("Lcd: is longer than 32 bytes with its values"));
}

TEST(EventTableFile, HasOnlyKnownLedStates)
{
    EXPECT_THAT(catchProblem(fileWith("\"Lcd\"", "\"Led\": 7, \"Lcd\"")),
                EndsWith("Led: is no number from 0 to 6"));
}

TEST(EventTableFile, IsComplete)
{
    const std::pair<std::string, std::string> properties[] = {
        {"Id", R"("Id": "BLD0031", )"},
        {"Severity", R"("Severity": "Critical", )"},
        {"Text", R"("Text": "{sensor} broke.",)"}};
    for (const auto& [name, property] : properties)
    {
        EXPECT_THAT(catchProblem(fileWith(property, "")),
                    EndsWith("Asserted: " + name + " is missing"));
    }
    EXPECT_THAT(catchProblem(fileWith(R"("Lcd": "{category} {number} broke")",
                                      R"("Led": 0)")),
                EndsWith("Asserted: Lcd is missing"));
    EXPECT_THAT(catchProblem(fileWith("\"Deasserted\"", "\"Desserted\"")),
                EndsWith("Desserted: is an unknown key"));
    EXPECT_THAT(catchProblem(sensorTypeFile("0xC0", "BLD", "\"0x01\": {}")),
                EndsWith("0x01: Asserted is missing"));
    EXPECT_THAT(catchProblem(R"({"Sensors": {}})"),
                EndsWith("Sensors: is an unknown key"));
}

TEST(EventTableFile, HasNumbersOfTheStandard)
{
    for (const char* offset : {"0x0F", "0x10", "1", "0x1", "0x", "0xZZ"})
    {
        EXPECT_THAT(
            catchProblem(sensorTypeFile("0xC0", "BLD",
                                        "\"" + std::string(offset) + "\": {}")),
            EndsWith(std::string(offset) + ": is no number from 0x00 to 0x0E"));
    }
    EXPECT_THAT(catchProblem(sensorTypeFile("0x00", "BLD", "")),
                EndsWith("is no number from 0x01 to 0xFF"));
    EXPECT_THAT(catchProblem(eventTypeFile("0x80", "")),
                EndsWith("is no number from 0x01 to 0x7F"));
    EXPECT_THAT(catchProblem(eventTypeFile("0x6F", "")),
                HasSubstr("0x6F: is for states that stand under SensorTypes"));
    EXPECT_THAT(catchProblem(eventTypeFile("0x6f", "")),
                HasSubstr("0x6f: is for states that stand under SensorTypes"));
}

TEST(EventTableFile, HasEachEventOnce)
{
    const std::string state = eventState("BLD", "0031");
    EXPECT_THAT(
        catchProblem(sensorTypeFile(
            "0xC0", "BLD", "\"0x01\": " + state + ",\n\"0x01\": " + state)),
        StartsWith(
            "line 1: SensorTypes: 0xC0: Offsets: 0x01: is a duplicate key"));
    EXPECT_THAT(
        catchProblem(sensorTypeFile(
            "0xC0", "BLD", "\"0x0A\": " + state + ",\n\"0x0a\": " + state)),
        EndsWith("is a duplicate number in another spelling"));
}

} // namespace
} // namespace healthintf::host
