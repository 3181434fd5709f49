// SPDX-License-Identifier: Apache-2.0
#include "event_description/event_record.hpp"
#include "event_records.hpp"

#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

using test::makeRecord;
using test::SensorEvent;

EventRecord decoded(const SensorEvent& event)
{
    return decodeRecord(makeRecord(event).data());
}

TEST(EventRecord, HasTheFieldsOfTheStandard)
{
    const EventRecord record = decoded({.sensorType = 0x08,
                                        .eventType = 0x6F,
                                        .offset = 0x03,
                                        .sensorNumber = 0x63});
    EXPECT_EQ(record.recordType, systemEventRecord);
    EXPECT_EQ(record.sensorType, 0x08);
    EXPECT_EQ(record.sensorNumber, 0x63);
    EXPECT_EQ(record.eventType, sensorSpecificEvent);
    EXPECT_EQ(record.offset, 0x03);
    EXPECT_TRUE(record.asserted);
}

TEST(EventRecord, RecognisesADeassertionByItsHighestBit)
{
    const EventRecord record = decoded({.sensorType = 0x08,
                                        .eventType = 0x6F,
                                        .offset = 0x03,
                                        .asserted = false});
    EXPECT_EQ(record.eventType, sensorSpecificEvent);
    EXPECT_FALSE(record.asserted);
}

TEST(EventRecord, HasReadingAndThresholdOnlyWhenItsFlagsSaySo)
{
    SensorEvent event{.sensorType = 0x01,
                      .eventType = thresholdEvent,
                      .offset = 0x09,
                      .use = 0x50,
                      .data2 = 0x5A,
                      .data3 = 0x55};
    EXPECT_EQ(decoded(event).reading, 0x5A);
    EXPECT_EQ(decoded(event).threshold, 0x55);
    EXPECT_EQ(decoded(event).extension2, std::nullopt);
    event.use = 0x40;
    EXPECT_EQ(decoded(event).reading, 0x5A);
    EXPECT_EQ(decoded(event).threshold, std::nullopt);
    // With these uses, the bytes hold OEM codes or extensions.
    for (const unsigned int use : {0x00u, 0xA0u, 0xF0u})
    {
        event.use = use;
        EXPECT_EQ(decoded(event).reading, std::nullopt);
        EXPECT_EQ(decoded(event).threshold, std::nullopt);
    }
}

TEST(EventRecord, HasExtensionsOnlyWhenItsFlagsSaySo)
{
    SensorEvent event{.sensorType = 0x0C,
                      .eventType = sensorSpecificEvent,
                      .offset = 0x01,
                      .use = 0xF0,
                      .data2 = 0x07,
                      .data3 = 0x05};
    EXPECT_EQ(decoded(event).extension2, 0x07);
    EXPECT_EQ(decoded(event).extension3, 0x05);
    EXPECT_EQ(decoded(event).reading, std::nullopt);
    event.use = 0x30;
    EXPECT_EQ(decoded(event).extension2, std::nullopt);
    EXPECT_EQ(decoded(event).extension3, 0x05);
    // With these uses, the bytes hold a previous state or an OEM code.
    for (const unsigned int use : {0x00u, 0x50u, 0xA0u})
    {
        event.use = use;
        EXPECT_EQ(decoded(event).extension2, std::nullopt);
        EXPECT_EQ(decoded(event).extension3, std::nullopt);
    }
}

TEST(EventRecord, ShowsBytesInTwoDigits)
{
    EXPECT_EQ(hexByte(0x00), "0x00");
    EXPECT_EQ(hexByte(0xA5), "0xA5");
    EXPECT_EQ(hexByte(0xFF), "0xFF");
}

} // namespace
} // namespace healthintf::host
