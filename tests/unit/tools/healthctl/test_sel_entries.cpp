// SPDX-License-Identifier: Apache-2.0
#include "read_events.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sel/sel_entries.hpp>

#include <cstdlib>
#include <ctime>

namespace healthintf::healthctl
{
namespace
{

using testing::Contains;
using testing::Key;
using testing::Not;
using testing::Pair;

class SelEntries : public testing::Test
{
  protected:
    SelEntries()
    {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    /** An event that the platform describes. */
    static ReadEvent fanEvent()
    {
        return makeEvent(17, 5, 0x04,
                         EventWords{.severity = EventSeverity::warning,
                                    .messageId = "FAN0107",
                                    .text = "The fan is slow.",
                                    .arguments = {"Fan", "0x11"},
                                    .component = "Fan.Sensor.0x07",
                                    .ledState = 1,
                                    .lcd = "Fan slow"});
    }

    /** An OEM record, which has no time. */
    static ReadEvent makersRecord()
    {
        RawRecord record = recordOfEvent(18, 6, 0x04);
        record[2] = 0xE5;
        return {makeEntry(record), std::nullopt};
    }
};

TEST_F(SelEntries, NameTheSensorByTheBestAvailableName)
{
    ReadEvent event = fanEvent();
    EXPECT_EQ(describeSensor(event), "Fan.Sensor.0x07");
    event.entry = makeEntry(event.entry.record(), {.name = "", .path = "/fan"});
    EXPECT_EQ(describeSensor(event), "/fan");
    event.entry =
        makeEntry(event.entry.record(), {.name = "Fan 7", .path = "/fan"});
    EXPECT_EQ(describeSensor(event), "Fan 7");
    EXPECT_EQ(describeSensor(makeEvent(1, 1, 0x04)), "type 0x04, number 0x07");
    EXPECT_EQ(describeSensor(makersRecord()), "");
}

TEST_F(SelEntries, DescribeEachEventInWords)
{
    const ReadEvent event = fanEvent();
    EXPECT_EQ(describeTime(event), "clock not set, 5 s");
    EXPECT_EQ(describeText(event), "The fan is slow.");
    EXPECT_EQ(describeDirection(event), "asserted");
    EXPECT_EQ(describeSeverity(event), "warning");
}

TEST_F(SelEntries, ShowTheBytesOfUndescribedEvents)
{
    const ReadEvent event = makersRecord();
    EXPECT_EQ(describeTime(event), "");
    EXPECT_EQ(describeDirection(event), "");
    EXPECT_EQ(describeSeverity(event), "");
    EXPECT_EQ(describeText(event), formatDigits(event.entry.record()));
}

TEST_F(SelEntries, ShowEveryFieldOfAnEvent)
{
    const auto fields = listFields(fanEvent());
    EXPECT_THAT(fields, Contains(Pair("Identifier", "17")));
    EXPECT_THAT(fields, Contains(Pair("Record type", "0x02")));
    EXPECT_THAT(fields, Contains(Pair("Generator", "0x20 0x00")));
    EXPECT_THAT(fields, Contains(Pair("Message format", "0x04")));
    EXPECT_THAT(fields, Contains(Pair("Sensor type", "0x04")));
    EXPECT_THAT(fields, Contains(Pair("Sensor number", "0x07")));
    EXPECT_THAT(fields, Contains(Pair("Event type", "0x01")));
    EXPECT_THAT(fields, Contains(Pair("Offset", "7")));
    EXPECT_THAT(fields, Contains(Pair("Event data", "0x57 0x11 0x22")));
    EXPECT_THAT(fields, Contains(Pair("Message", "FAN0107")));
    EXPECT_THAT(fields, Contains(Pair("Arguments", "Fan, 0x11")));
    EXPECT_THAT(fields,
                Contains(Pair("Raw", "11 00 02 05 00 00 00 20 00 04 04 07 01 "
                                     "57 11 22")));
}

TEST_F(SelEntries, ShowTheFieldsOfAnOemRecord)
{
    const auto fields = listFields(makersRecord());
    EXPECT_THAT(fields, Contains(Pair("Time", "none")));
    EXPECT_THAT(fields, Contains(Pair("Event", "not described")));
    EXPECT_THAT(fields, Not(Contains(Key("Sensor type"))));
    EXPECT_THAT(fields, Not(Contains(Key("Severity"))));
}

TEST_F(SelEntries, HaveNumbersAsNumbersInJson)
{
    const nlohmann::json json = toJson(fanEvent());
    EXPECT_EQ(json["id"], 17);
    EXPECT_EQ(json["timestamp"], 5);
    EXPECT_EQ(json["event"]["generator"], 0x20);
    EXPECT_EQ(json["event"]["sensorType"], 4);
    EXPECT_EQ(json["event"]["offset"], 7);
    EXPECT_EQ(json["event"]["data"], (std::vector<int>{0x57, 0x11, 0x22}));
    EXPECT_EQ(json["description"]["severity"], "warning");
    EXPECT_EQ(json["description"]["ledState"], 1);
}

TEST_F(SelEntries, ShowTimesBeforeTheClockWasSetAsSuch)
{
    constexpr uint32_t last = 536870912;
    const ReadEvent before = makeEvent(1, last, 0x04);
    EXPECT_EQ(describeTime(before), "clock not set, 536870912 s");
    EXPECT_EQ(toJson(before)["timestamp"], last);
    EXPECT_TRUE(toJson(before)["time"].is_null());
    const ReadEvent after = makeEvent(1, last + 1, 0x04);
    EXPECT_EQ(toJson(after)["time"], "1987-01-05T18:48:33Z");
    EXPECT_EQ(describeTime(after), momentText(last + 1));
}

TEST_F(SelEntries, HaveNullForMissingValuesInJson)
{
    const nlohmann::json json = toJson(makersRecord());
    EXPECT_TRUE(json["timestamp"].is_null());
    EXPECT_TRUE(json["event"].is_null());
    EXPECT_TRUE(json["description"].is_null());
    EXPECT_TRUE(json["sensor"]["name"].is_null());
}

} // namespace
} // namespace healthintf::healthctl
