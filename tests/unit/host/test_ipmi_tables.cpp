// SPDX-License-Identifier: Apache-2.0
#include "event_records.hpp"
#include "ipmi_states.hpp"
#include "speaks_of.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

namespace healthintf::test
{
namespace
{

using testing::Not;
using testing::StartsWith;

constexpr unsigned int sensorSpecific = 0x6F;
constexpr unsigned int critical = 1;
constexpr unsigned int warning = 2;
constexpr unsigned int informational = 3;

unsigned int describeSeverity(Fault fault, bool asserted)
{
    switch (fault)
    {
        case Fault::assertedWarning:
            return asserted ? warning : informational;
        case Fault::assertedCritical:
            return asserted ? critical : informational;
        case Fault::deassertedWarning:
            return asserted ? informational : warning;
        case Fault::deassertedCritical:
            return asserted ? informational : critical;
        case Fault::none:
            break;
    }
    return informational;
}

/** The shipped event table, read through the library's functions. */
class IpmiTables : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
    }

    void SetUp() override
    {
        ASSERT_EQ(attached.result, 0);
    }

    using Visit = std::function<void(unsigned int sensorType,
                                     unsigned int eventType, const IpmiState&)>;

    /** Visits each specific and generic state of each sensor type. */
    static void forEachState(const Visit& visit)
    {
        for (const IpmiType& sensor : ipmiSensorTypes())
        {
            for (const IpmiState& state : sensor.states)
            {
                visit(sensor.code, sensorSpecific, state);
            }
            for (const IpmiType& event : ipmiEventTypes())
            {
                for (const IpmiState& state : event.states)
                {
                    visit(sensor.code, event.code, state);
                }
            }
        }
    }

    static std::string readName(unsigned int sensorType, unsigned int eventType,
                                unsigned int offset)
    {
        std::array<char, 64> name{};
        std::snprintf(name.data(), name.size(),
                      "sensor type %02Xh, event type %02Xh, offset %02Xh",
                      sensorType, eventType, offset);
        return name.data();
    }

    Attached attached;
};

TEST_F(IpmiTables, HaveANameForEverySensorType)
{
    ASSERT_EQ(ipmiSensorTypes().size(), 0x2Cu);
    unsigned int code = 0;
    for (const IpmiType& sensor : ipmiSensorTypes())
    {
        EXPECT_EQ(sensor.code, ++code);
        const Described event =
            describe({.sensorType = code, .eventType = 0x03, .offset = 0x01});
        EXPECT_TRUE(mentions(event.text, sensor.name)) << event.text;
        EXPECT_THAT(event.id, Not(StartsWith("UNK"))) << sensor.name;
    }
}

TEST_F(IpmiTables, DescribeEveryStateInBothDirections)
{
    forEachState([](unsigned int sensorType, unsigned int eventType,
                    const IpmiState& state) {
        SCOPED_TRACE(readName(sensorType, eventType, state.offset));
        for (const bool asserted : {true, false})
        {
            const Described event = describe({.sensorType = sensorType,
                                              .eventType = eventType,
                                              .offset = state.offset,
                                              .asserted = asserted});
            EXPECT_THAT(event.id, Not(StartsWith("UNK")));
            for (const std::string& word : state.words)
            {
                EXPECT_TRUE(mentions(event.text, word))
                    << word << ": " << event.text;
            }
        }
    });
}

TEST_F(IpmiTables, KnowNoStateThatTheStandardDoesNotHave)
{
    for (const IpmiType& sensor : ipmiSensorTypes())
    {
        for (unsigned int offset = 0; offset <= 0x0F; ++offset)
        {
            const bool standard = std::ranges::any_of(
                sensor.states, [offset](const IpmiState& state) {
                    return state.offset == offset;
                });
            const Described event = describe({.sensorType = sensor.code,
                                              .eventType = sensorSpecific,
                                              .offset = offset});
            EXPECT_EQ(event.id.starts_with("UNK"), !standard)
                << readName(sensor.code, sensorSpecific, offset);
        }
    }
}

TEST_F(IpmiTables, GiveEachEventItsSeverity)
{
    forEachState([](unsigned int sensorType, unsigned int eventType,
                    const IpmiState& state) {
        for (const bool asserted : {true, false})
        {
            const Described event = describe({.sensorType = sensorType,
                                              .eventType = eventType,
                                              .offset = state.offset,
                                              .asserted = asserted});
            EXPECT_EQ(event.severity, describeSeverity(state.fault, asserted))
                << readName(sensorType, eventType, state.offset) << ": "
                << event.text;
        }
    });
}

TEST_F(IpmiTables, LightTheLedBySeverity)
{
    forEachState([](unsigned int sensorType, unsigned int eventType,
                    const IpmiState& state) {
        for (const bool asserted : {true, false})
        {
            const Described event = describe({.sensorType = sensorType,
                                              .eventType = eventType,
                                              .offset = state.offset,
                                              .asserted = asserted});
            EXPECT_EQ(event.ledState, informational - event.severity)
                << readName(sensorType, eventType, state.offset);
        }
    });
}

TEST_F(IpmiTables, ClearOneDirectionOfAStateByTheOther)
{
    forEachState([](unsigned int sensorType, unsigned int eventType,
                    const IpmiState& state) {
        SCOPED_TRACE(readName(sensorType, eventType, state.offset));
        Record record = makeRecord({.sensorType = sensorType,
                                    .eventType = eventType,
                                    .offset = state.offset});
        const Described event = describe(record);
        record[12] ^= 0x80;
        const Described opposite = describe(record);
        EXPECT_NE(event.id, opposite.id);
        EXPECT_NE(event.text, opposite.text);
        EXPECT_NE(event.lcd, opposite.lcd);
        EXPECT_TRUE(event.severity == informational ||
                    opposite.severity == informational);
    });
}

TEST_F(IpmiTables, GiveEachEventAnIdentifierOfItsOwn)
{
    std::map<std::string, std::string> taken;
    forEachState([&taken](unsigned int sensorType, unsigned int eventType,
                          const IpmiState& state) {
        for (const bool asserted : {true, false})
        {
            const std::string id = describe({.sensorType = sensorType,
                                             .eventType = eventType,
                                             .offset = state.offset,
                                             .asserted = asserted})
                                       .id;
            EXPECT_LE(id.size(), 15u);
            const std::string name =
                readName(sensorType, eventType, state.offset);
            const auto [other, added] = taken.try_emplace(id, name);
            EXPECT_TRUE(added) << id << ": " << name << ", " << other->second;
        }
    });
}

TEST_F(IpmiTables, NumberIdentifiersByEventTypeAndOffset)
{
    forEachState([](unsigned int sensorType, unsigned int eventType,
                    const IpmiState& state) {
        const unsigned int first =
            eventType == sensorSpecific ? 31 : 100 + 20 * (eventType - 1);
        for (const bool asserted : {true, false})
        {
            const std::string id = describe({.sensorType = sensorType,
                                             .eventType = eventType,
                                             .offset = state.offset,
                                             .asserted = asserted})
                                       .id;
            const unsigned int number =
                first + state.offset + (asserted ? 0 : 1000);
            EXPECT_EQ(id.size(), 7u) << id;
            EXPECT_EQ(std::stoul(id.substr(3)), number) << id;
        }
    });
}

TEST_F(IpmiTables, FitTheirFieldsWithAllTheirValues)
{
    forEachState([](unsigned int sensorType, unsigned int eventType,
                    const IpmiState& state) {
        for (const unsigned int use : {0x00u, 0x50u, 0xF0u})
        {
            for (const bool asserted : {true, false})
            {
                const Described event = describe({.sensorType = sensorType,
                                                  .eventType = eventType,
                                                  .offset = state.offset,
                                                  .asserted = asserted,
                                                  .use = use,
                                                  .data2 = 0x01});
                SCOPED_TRACE(event.text);
                EXPECT_LT(event.text.size(), 255u);
                EXPECT_TRUE(event.text.ends_with('.'));
                EXPECT_GE(event.lcd.size(), 2u);
                EXPECT_LE(event.lcd.size(), 32u) << event.lcd;
                EXPECT_LT(event.component.size(), 82u);
                ASSERT_GE(event.arguments.size(), 1u);
                ASSERT_LE(event.arguments.size(), 5u);
            }
        }
    });
}

// Both events mean that the chassis is open, so one's end clears the other.
TEST_F(IpmiTables, NameTheIntrusionsThatClearEachOther)
{
    const Described chassis =
        describe({.sensorType = 0x05, .eventType = 0x6F, .offset = 0x00});
    const Described cards =
        describe({.sensorType = 0x05, .eventType = 0x6F, .offset = 0x02});
    EXPECT_EQ(chassis.id, "SEC0031");
    EXPECT_EQ(cards.id, "SEC0033");
    EXPECT_EQ(chassis.severity, critical);
    EXPECT_EQ(cards.severity, critical);
}

TEST_F(IpmiTables, ShowTheRawReadingAndThreshold)
{
    const Described event = describe({.sensorType = 0x01,
                                      .eventType = 0x01,
                                      .offset = 0x09,
                                      .sensorNumber = 0x30,
                                      .use = 0x50,
                                      .data2 = 0x5A,
                                      .data3 = 0x55});
    EXPECT_EQ(event.id, "TMP0109");
    EXPECT_EQ(event.text,
              "Temperature sensor 0x30 went above its upper critical "
              "threshold, raw reading 0x5A, threshold 0x55.");
    EXPECT_THAT(event.arguments, testing::ElementsAre("Temperature sensor 0x30",
                                                      "0x5A", "0x55"));
    EXPECT_EQ(event.component, "Temperature.Sensor.0x30");
}

TEST_F(IpmiTables, DescribeFirmwareEventsByTheirExtensionCode)
{
    const auto text = [](unsigned int type, unsigned int offset,
                         unsigned int code) {
        return describe({.sensorType = type,
                         .eventType = sensorSpecific,
                         .offset = offset,
                         .use = 0xC0,
                         .data2 = code})
            .text;
    };
    EXPECT_TRUE(mentions(text(0x0F, 0x00, 0x01), "no memory"));
    EXPECT_TRUE(mentions(text(0x0F, 0x00, 0x0B), "corrupt"));
    EXPECT_TRUE(mentions(text(0x0F, 0x00, 0x0D), "speed"));
    EXPECT_TRUE(mentions(text(0x0F, 0x01, 0x07), "PCI"));
    EXPECT_TRUE(mentions(text(0x0F, 0x02, 0x09), "video"));
    EXPECT_TRUE(mentions(text(0x0F, 0x02, 0x19), "primary processor"));
    EXPECT_TRUE(mentions(text(0x08, 0x06, 0x00), "vendor"));
    EXPECT_TRUE(mentions(text(0x08, 0x06, 0x04), "voltage"));
    EXPECT_TRUE(mentions(text(0x2B, 0x01, 0x09), "firmware"));
    EXPECT_TRUE(mentions(text(0x2B, 0x07, 0x0B), "operating system"));
}

} // namespace
} // namespace healthintf::test
