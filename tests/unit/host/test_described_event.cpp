// SPDX-License-Identifier: Apache-2.0
#include "event_description/described_event.hpp"
#include "event_description/event_record.hpp"
#include "event_table_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

using test::eventState;
using testing::ElementsAre;
using testing::HasSubstr;

/** A table with one state of sensor type 0xC0 and one of event type 0x03. */
EventTable smallTable()
{
    EventTable table;
    std::string state = eventState("BLD", "31");
    state.replace(state.find("broke."), 6,
                  "broke[: {detail}][, code {extension3}].");
    state.insert(1, "\"Detail\": \"Cause\", ");
    table.add(parseEventTable(R"({"SensorTypes": {"0xC0": {"Name": "Blade",
"Category": "BLD", "Component": "Blade",
"Details": {"Cause": {"0x01": "it is bent"}}, "Offsets": {"0x01": )" +
                              state + "}}}}"),
              {"a.json", {}});
    table.add(parseEventTable(test::eventTypeFile(
                  "0x03", "\"0x01\": " + eventState("{category}", "41"))),
              {"b.json", {}});
    return table;
}

EventRecord blade()
{
    return {.recordType = systemEventRecord,
            .sensorType = 0xC0,
            .sensorNumber = 0x30,
            .eventType = sensorSpecificEvent,
            .asserted = true,
            .offset = 1};
}

class DescribedEvents : public testing::Test
{
  protected:
    const EventTable table = smallTable();
};

TEST_F(DescribedEvents, HaveTheTextsOfTheTable)
{
    const DescribedEvent event = describe(blade(), table);
    EXPECT_EQ(event.id, "BLD31");
    EXPECT_EQ(event.severity, EventSeverity::critical);
    EXPECT_EQ(event.text, "Blade sensor 0x30 broke.");
    EXPECT_THAT(event.arguments, ElementsAre("Blade sensor 0x30"));
    EXPECT_EQ(event.component, "Blade.Sensor.0x30");
    EXPECT_EQ(event.lcd, "BLD 0x30 broke");
    EXPECT_EQ(event.ledState, LedState::fault);
}

TEST_F(DescribedEvents, HaveTheOppositeTextsForADeassertion)
{
    EventRecord record = blade();
    record.asserted = false;
    EXPECT_EQ(describe(record, table).id, "BLD931");
    EXPECT_EQ(describe(record, table).severity, EventSeverity::informational);
}

TEST_F(DescribedEvents, ContainTheMeaningOfTheirData)
{
    EventRecord record = blade();
    record.extension2 = 0x01;
    record.extension3 = 0x02;
    EXPECT_EQ(describe(record, table).text,
              "Blade sensor 0x30 broke: it is bent, code 0x02.");
    EXPECT_THAT(describe(record, table).arguments,
                ElementsAre("Blade sensor 0x30", "it is bent", "0x02"));
    record.extension2 = 0x77;
    EXPECT_EQ(describe(record, table).text,
              "Blade sensor 0x30 broke, code 0x02.");
}

TEST_F(DescribedEvents, OfAnEventTypeHaveTheSensorTypesCategory)
{
    EventRecord record = blade();
    record.eventType = 0x03;
    EXPECT_EQ(describe(record, table).id, "BLD41");
    EXPECT_EQ(describe(record, table).text, "Blade sensor 0x30 broke.");
}

TEST_F(DescribedEvents, OfAnUnknownSensorKeepTheEventTypesMeaning)
{
    EventRecord record = blade();
    record.eventType = 0x03;
    record.sensorType = 0xC7;
    const DescribedEvent event = describe(record, table);
    EXPECT_EQ(event.id, "UNKC7031A");
    EXPECT_EQ(event.severity, EventSeverity::critical);
    EXPECT_EQ(event.text, "OEM type 0xC7 sensor 0x30 broke.");
    EXPECT_EQ(event.component, "OemC7.Sensor.0x30");
    EXPECT_EQ(event.lcd, "UNK 0x30 broke");
}

TEST_F(DescribedEvents, WithoutAMeaningAreWarnings)
{
    EventRecord record = blade();
    record.offset = 5;
    const DescribedEvent event = describe(record, table);
    EXPECT_EQ(event.id, "UNKC06F5A");
    EXPECT_EQ(event.severity, EventSeverity::warning);
    EXPECT_EQ(event.ledState, LedState::attention);
    EXPECT_THAT(event.text, HasSubstr("Blade sensor 0x30"));
    EXPECT_EQ(event.component, "Blade.Sensor.0x30");
    EXPECT_EQ(event.lcd, "BLD 0x30 unknown event");
    record.asserted = false;
    EXPECT_EQ(describe(record, table).id, "UNKC06F5D");
    EXPECT_EQ(describe(record, table).severity, EventSeverity::informational);
}

TEST_F(DescribedEvents, OfOtherRecordsAreInformation)
{
    EventRecord record = blade();
    for (const unsigned int type : {0x00u, 0x01u, 0x03u, 0xC0u, 0xE0u, 0xFFu})
    {
        record.recordType = static_cast<uint8_t>(type);
        const DescribedEvent event = describe(record, table);
        const std::string number = hexByte(record.recordType);
        EXPECT_EQ(event.id, "UNKR" + number.substr(2));
        EXPECT_EQ(event.severity, EventSeverity::informational);
        EXPECT_EQ(event.ledState, LedState::none);
        EXPECT_THAT(event.text, HasSubstr("type " + number));
        EXPECT_THAT(event.arguments, ElementsAre(number));
        EXPECT_EQ(event.component, "System.Record." + number);
    }
}

} // namespace
} // namespace healthintf::host
