// SPDX-License-Identifier: Apache-2.0
#include "event_description/described_event.hpp"
#include "event_description/event_entries.hpp"

#include <platform/event_description.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

namespace healthintf::host
{
namespace
{

/** An entry between two guard areas, which no function may change. */
template <std::size_t Size>
struct Guarded
{
    std::array<char, 8> before{};
    std::array<char, Size> entry{};
    std::array<char, 8> after{};

    bool whole() const
    {
        const auto untouched = [](char c) {
            return c == '\0';
        };
        return std::ranges::all_of(before, untouched) &&
               std::ranges::all_of(after, untouched);
    }
};

TEST(EventEntries, HoldAnEventAtItsOffsets)
{
    const DescribedEvent event{.severity = EventSeverity::warning,
                               .id = "FAN0107",
                               .text = "The fan is slow.",
                               .arguments = {"one", "two"},
                               .component = "Fan.Sensor.0x30",
                               .lcd = "Fan slow",
                               .ledState = static_cast<LedState>(5)};
    Guarded<JNL_ENTRY_SIZE> journal;
    writeJournalEntry(event, journal.entry.data());
    EXPECT_EQ(journal.entry[4], 2);
    EXPECT_EQ(journal.entry[5], 0);
    EXPECT_STREQ(&journal.entry[6], "FAN0107");
    EXPECT_STREQ(&journal.entry[22], "The fan is slow.");
    EXPECT_EQ(journal.entry[278], 2);
    EXPECT_STREQ(&journal.entry[279], "one");
    EXPECT_STREQ(&journal.entry[359], "two");
    EXPECT_STREQ(&journal.entry[679], "Fan.Sensor.0x30");
    Guarded<LCD_ENTRY_SIZE> lcd;
    writeLcdEntry(event, lcd.entry.data());
    EXPECT_EQ(lcd.entry[18], 5);
    EXPECT_STREQ(&lcd.entry[19], "Fan slow");
}

TEST(EventEntries, CutTextsThatAreTooLong)
{
    const std::string lengthy(600, 'x');
    const DescribedEvent event{.severity = EventSeverity::critical,
                               .id = lengthy,
                               .text = lengthy,
                               .arguments =
                                   std::vector<std::string>(7, lengthy),
                               .component = lengthy,
                               .lcd = lengthy};
    Guarded<JNL_ENTRY_SIZE> journal;
    writeJournalEntry(event, journal.entry.data());
    EXPECT_EQ(std::string(&journal.entry[6]).size(), 15u);
    EXPECT_EQ(std::string(&journal.entry[22]).size(), 255u);
    EXPECT_EQ(journal.entry[278], 5);
    EXPECT_EQ(std::string(&journal.entry[279 + 4 * 80]).size(), 79u);
    EXPECT_EQ(std::string(&journal.entry[679]).size(), 82u);
    EXPECT_TRUE(journal.whole());
    Guarded<LCD_ENTRY_SIZE> lcd;
    writeLcdEntry(event, lcd.entry.data());
    EXPECT_EQ(std::string(&lcd.entry[19]).size(), 512u);
    EXPECT_TRUE(lcd.whole());
}

TEST(EventEntries, AreNotCutWithinACharacter)
{
    DescribedEvent event;
    event.text = std::string(254, 'x') + "é";
    Guarded<JNL_ENTRY_SIZE> journal;
    writeJournalEntry(event, journal.entry.data());
    EXPECT_EQ(std::string(&journal.entry[22]), std::string(254, 'x'));
}

} // namespace
} // namespace healthintf::host
