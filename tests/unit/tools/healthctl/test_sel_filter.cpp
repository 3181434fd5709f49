// SPDX-License-Identifier: Apache-2.0
#include "read_events.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

EventWords words(EventSeverity severity, const std::string& component)
{
    return {.severity = severity,
            .messageId = "",
            .text = "",
            .arguments = {},
            .component = component,
            .lcd = ""};
}

const std::vector<ReadEvent>& events()
{
    static const std::vector<ReadEvent> all{
        makeEvent(1, 100, 0x04,
                  words(EventSeverity::critical, "Fan.Sensor.0x07")),
        makeEvent(2, 200, 0x08,
                  words(EventSeverity::warning, "PowerSupply.Sensor.0x07")),
        makeEvent(
            3, 300, 0x01,
            words(EventSeverity::informational, "Temperature.Sensor.0x07")),
        makeEvent(4, 400, 0x04)};
    return all;
}

std::vector<uint16_t> listIds(const SelFilter& filter)
{
    std::vector<uint16_t> ids;
    for (const ReadEvent& event : filtered(events(), filter))
    {
        ids.push_back(event.entry.recordId());
    }
    return ids;
}

TEST(SelFilter, WantsEverythingUnlessToldOtherwise)
{
    EXPECT_THAT(listIds({}), ElementsAre(1, 2, 3, 4));
}

TEST(SelFilter, WantsEntriesWithinItsTimes)
{
    EXPECT_THAT(listIds({.period = {.since = 200}}), ElementsAre(2, 3, 4));
    EXPECT_THAT(listIds({.period = {.until = 200}}), ElementsAre(1, 2));
    EXPECT_THAT(listIds({.period = {.since = 101, .until = 399}}),
                ElementsAre(2, 3));
    EXPECT_THAT(listIds({.period = {.since = 401}}), IsEmpty());
}

TEST(SelFilter, KnowsSensorTypesByNumberAndByName)
{
    const auto of = [](const std::string& type) {
        return listIds({.sensorTypes = {SensorTypeChoice(type)}});
    };
    EXPECT_THAT(of("4"), ElementsAre(1, 4));
    EXPECT_THAT(of("0x08"), ElementsAre(2));
    EXPECT_THAT(of("fan"), ElementsAre(1));
    EXPECT_THAT(of("Power Supply"), ElementsAre(2));
    EXPECT_THAT(of("power-supply"), ElementsAre(2));
    EXPECT_THAT(of("power"), IsEmpty());
}

TEST(SelFilter, WantsAnyOfSeveralSensorTypes)
{
    EXPECT_THAT(listIds({.sensorTypes = {SensorTypeChoice("fan"),
                                         SensorTypeChoice("1")}}),
                ElementsAre(1, 3));
}

TEST(SelFilter, TakesNoOemRecordForASensorsEvent)
{
    RawRecord record = recordOfEvent(5, 500, 0x04);
    record[2] = 0xC0;
    const ReadEvent event{makeEntry(record), std::nullopt};
    EXPECT_FALSE(SensorTypeChoice("4").fits(event));
}

TEST(SelFilter, WantsTheSeveritiesThatItNames)
{
    EXPECT_THAT(listIds({.severities = {EventSeverity::critical}}),
                ElementsAre(1));
    EXPECT_THAT(listIds({.severities = {EventSeverity::critical,
                                        EventSeverity::informational}}),
                ElementsAre(1, 3));
}

TEST(SelFilter, CountsTheLastOnesAfterAllOtherConditions)
{
    EXPECT_THAT(listIds({.last = 2}), ElementsAre(3, 4));
    EXPECT_THAT(listIds({.last = 9}), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(listIds({.period = {.until = 300}, .last = 1}), ElementsAre(3));
}

TEST(SensorTypeChoice, IsANumberOfAByteOrAName)
{
    for (const char* text : {"", "256", "0x", "0x1FF", "4x", "-"})
    {
        EXPECT_THROW(SensorTypeChoice{text}, std::invalid_argument) << text;
    }
}

} // namespace
} // namespace healthintf::healthctl
