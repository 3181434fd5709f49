// SPDX-License-Identifier: Apache-2.0
#include "event_description/event_record.hpp"
#include "event_description/unknown_event.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace healthintf::host
{
namespace
{

using testing::HasSubstr;

EventRecord unknown(bool asserted)
{
    return {.recordType = systemEventRecord,
            .sensorType = 0xC0,
            .sensorNumber = 0x30,
            .eventType = 0x7A,
            .asserted = asserted,
            .offset = 0x0B};
}

TEST(UnknownEvent, IsAWarningUntilItEnds)
{
    EXPECT_EQ(unknownMessage(unknown(true)).severity, EventSeverity::warning);
    EXPECT_EQ(unknownMessage(unknown(true)).ledState, LedState::attention);
    EXPECT_EQ(unknownMessage(unknown(false)).severity,
              EventSeverity::informational);
    EXPECT_EQ(unknownMessage(unknown(false)).ledState, LedState::none);
}

TEST(UnknownEvent, ContainsItsNumbers)
{
    EXPECT_THAT(unknownMessage(unknown(true)).text,
                HasSubstr("OEM event type 0x7A, offset 0x0B"));
    EXPECT_NE(unknownMessage(unknown(true)).text,
              unknownMessage(unknown(false)).text);
}

TEST(UnknownEvent, HasAUniqueIdentifier)
{
    std::set<std::string> ids;
    EventRecord record = unknown(true);
    for (unsigned int sensorType = 0; sensorType < 256; ++sensorType)
    {
        for (unsigned int eventType = 0; eventType < 128; ++eventType)
        {
            record.sensorType = static_cast<uint8_t>(sensorType);
            record.eventType = static_cast<uint8_t>(eventType);
            record.offset = static_cast<uint8_t>(eventType & 0x0F);
            for (const bool asserted : {true, false})
            {
                record.asserted = asserted;
                EXPECT_TRUE(ids.insert(unknownId(record)).second);
            }
        }
    }
    EXPECT_EQ(unknownId(unknown(true)), "UNKC07ABA");
    EXPECT_EQ(unknownId(unknown(false)), "UNKC07ABD");
    for (unsigned int type = 0; type < 256; ++type)
    {
        record.recordType = static_cast<uint8_t>(type);
        EXPECT_TRUE(ids.insert(unknownRecordId(record)).second);
    }
}

TEST(UnknownEvent, DistinguishesOemFromReservedSensorTypes)
{
    EXPECT_EQ(unknownSensorType(0xC0).name, "OEM type 0xC0");
    EXPECT_EQ(unknownSensorType(0xC0).component, "OemC0");
    EXPECT_EQ(unknownSensorType(0x2D).name, "Unknown type 0x2D");
    EXPECT_EQ(unknownSensorType(0x2D).component, "Unknown2D");
}

} // namespace
} // namespace healthintf::host
