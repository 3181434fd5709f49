// SPDX-License-Identifier: Apache-2.0
#include "event_entry.hpp"
#include "recording_sel.hpp"

#include <gtest/gtest.h>

namespace health_namespace::details
{
namespace
{

using healthintf::test::EventText;
using Texts = std::vector<std::string>;

JnlEntry makeEntry(const EventText& event)
{
    return {healthintf::test::jnlEntry(event)};
}

TEST(EventEntry, ReadsTheMessageOfAnEvent)
{
    const JnlEntry entry = makeEntry({.severity = 2,
                                      .messageId = "FAN0001",
                                      .message = "Fan 1 failed.",
                                      .args = {"1", "", "rear"},
                                      .description = "Fan.1"});
    EXPECT_EQ(entry.severity(), 2u);
    EXPECT_EQ(entry.messageId(), "FAN0001");
    EXPECT_EQ(entry.message(), "Fan 1 failed.");
    EXPECT_EQ(entry.arguments(), (Texts{"1", "", "rear"}));
    EXPECT_EQ(entry.description(), "Fan.1");
}

TEST(EventEntry, ReadsTheSeveritysLowByteFirst)
{
    JnlEntry entry;
    entry.bytes[4] = 0x34;
    entry.bytes[5] = 0x12;
    EXPECT_EQ(entry.severity(), 0x1234u);
}

TEST(EventEntry, IsEmptyWhenNothingWasFilledIn)
{
    const JnlEntry entry;
    EXPECT_EQ(entry.severity(), 0u);
    EXPECT_EQ(entry.messageId(), "");
    EXPECT_EQ(entry.message(), "");
    EXPECT_EQ(entry.arguments(), Texts{});
    EXPECT_EQ(entry.description(), "");
    EXPECT_EQ(LcdEntry{}.ledState(), 0);
    EXPECT_EQ(LcdEntry{}.text(), "");
}

TEST(EventEntry, EndsTextsWithTheirFieldsWhenThereIsNoNul)
{
    JnlEntry entry;
    entry.bytes.fill('x');
    EXPECT_EQ(entry.messageId(), std::string(16, 'x'));
    EXPECT_EQ(entry.message(), std::string(256, 'x'));
    EXPECT_EQ(entry.arguments(), Texts(5, std::string(80, 'x')));
    EXPECT_EQ(entry.description(), std::string(762 - 679, 'x'));
    LcdEntry lcd;
    lcd.bytes.fill('x');
    EXPECT_EQ(lcd.text(), std::string(532 - 19, 'x'));
}

TEST(EventEntry, ReadsNoMoreArgumentsThanThereAreFieldsFor)
{
    EventText event{.args = {"a", "b", "c", "d", "e"}, .description = "f"};
    for (const uint8_t count : {5, 6, 255})
    {
        event.argumentCount = count;
        EXPECT_EQ(makeEntry(event).arguments(),
                  (Texts{"a", "b", "c", "d", "e"}));
    }
    event.argumentCount = 2;
    EXPECT_EQ(makeEntry(event).arguments(), (Texts{"a", "b"}));
}

TEST(EventEntry, ReadsTheFrontPanelEntry)
{
    const LcdEntry entry{healthintf::test::lcdEntry(255, "Fan 1")};
    EXPECT_EQ(entry.ledState(), 255) << "which is no negative number";
    EXPECT_EQ(entry.text(), "Fan 1");
}

} // namespace
} // namespace health_namespace::details
