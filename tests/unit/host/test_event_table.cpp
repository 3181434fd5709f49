// SPDX-License-Identifier: Apache-2.0
#include "event_description/event_record.hpp"
#include "event_description/event_table.hpp"
#include "event_table_text.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

using test::eventState;
using test::eventTypeFile;
using test::sensorTypeFile;
using testing::ElementsAre;
using testing::HasSubstr;

class EventTables : public testing::Test
{
  protected:
    EventTable load() const
    {
        return EventTable::load(
            {folder.path() / "own", folder.path() / "shipped"});
    }

    /** The reason why the table cannot be loaded. */
    std::string failure() const
    {
        try
        {
            load();
        }
        catch (const NoEventTable& e)
        {
            return e.what();
        }
        return "none";
    }

    std::string makePath(const std::string& name) const
    {
        return (folder.path() / name).string();
    }

    /** A file with one state of sensor type 0xC0. */
    void writeState(const std::string& name, const std::string& offset,
                    const std::string& number) const
    {
        folder.write(name, sensorTypeFile("0xC0", "BLD",
                                          "\"" + offset + "\": " +
                                              eventState("BLD", number)));
    }

    test::TemporaryFolder folder;
};

TEST_F(EventTables, FindStatesOfAllFiles)
{
    writeState("own/a.json", "0x01", "31");
    writeState("shipped/b.json", "0x02", "32");
    folder.write(
        "shipped/c.json",
        eventTypeFile("0x03", "\"0x01\": " + eventState("{category}", "41")));
    const EventTable table = load();
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 1)->asserted.id, "BLD31");
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 2)->asserted.id, "BLD32");
    EXPECT_EQ(table.find(0xC0, 0x03, 1)->asserted.id, "{category}41");
    EXPECT_EQ(table.find(0x99, 0x03, 1)->asserted.id, "{category}41");
    EXPECT_EQ(table.sensorType(0xC0)->category, "BLD");
    EXPECT_EQ(table.eventType(0x03)->name, "Own");
}

TEST_F(EventTables, FindNothingForAnUnknownState)
{
    writeState("own/a.json", "0x01", "31");
    const EventTable table = load();
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 2), nullptr);
    EXPECT_EQ(table.find(0xC1, sensorSpecificEvent, 1), nullptr);
    EXPECT_EQ(table.find(0xC0, 0x03, 1), nullptr);
    EXPECT_EQ(table.find(0xC0, 0xFF, 1), nullptr);
    EXPECT_EQ(table.sensorType(0xC1), nullptr);
    EXPECT_EQ(table.eventType(0x03), nullptr);
}

TEST_F(EventTables, TakeTheStateThatIsReadFirst)
{
    writeState("own/b.json", "0x01", "31");
    writeState("own/c.json", "0x01", "32");
    writeState("shipped/a.json", "0x01", "33");
    EXPECT_EQ(load().find(0xC0, sensorSpecificEvent, 1)->asserted.id, "BLD31");
}

TEST_F(EventTables, AreAnErrorWithoutAFile)
{
    EXPECT_EQ(failure(), "no usable file *.json in " + makePath("own") +
                             " or " + makePath("shipped"));
}

TEST_F(EventTables, AreAnErrorWithoutAUsableFile)
{
    folder.write("shipped/b.json", "{\n]");
    EXPECT_THAT(failure(), HasSubstr("; " + makePath("shipped/b.json") +
                                     ": line 2: no valid JSON"));
}

TEST_F(EventTables, LeaveOutAnInvalidFile)
{
    writeState("own/a.json", "0x01", "31");
    folder.write("shipped/b.json", "{\n]");
    writeState("shipped/c.json", "0x02", "32");
    const EventTable table = load();
    EXPECT_THAT(table.problems(), ElementsAre(makePath("shipped/b.json") +
                                              ": line 2: no valid JSON"));
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 1)->asserted.id, "BLD31");
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 2)->asserted.id, "BLD32");
}

TEST_F(EventTables, CountWhatIsWrongInAFileAfterTheTenth)
{
    const auto writeDoubles = [this](const std::string& file, int count) {
        std::string states;
        for (int offset = 0; offset <= count; ++offset)
        {
            states += (offset == 0 ? "\"" : ",\"") +
                      hexByte(static_cast<uint8_t>(offset)) +
                      "\": " + test::eventState("BLD", "31");
        }
        folder.write(file, test::sensorTypeFile("0xC0", "BLD", states));
    };
    writeDoubles("own/a.json", 10);
    EXPECT_EQ(load().problems().size(), 10U);
    writeDoubles("own/a.json", 13);
    const EventTable table = load();
    ASSERT_EQ(table.problems().size(), 11U);
    EXPECT_EQ(table.problems().back(),
              makePath("own/a.json") + ": 3 more states or sensor types");
}

TEST_F(EventTables, LeaveOutAFolderThatIsAFile)
{
    folder.write("own", "");
    writeState("shipped/a.json", "0x01", "31");
    const EventTable table = load();
    EXPECT_THAT(table.problems(),
                ElementsAre(HasSubstr(makePath("own") + ": ")));
    EXPECT_NE(table.find(0xC0, sensorSpecificEvent, 1), nullptr);
}

TEST_F(EventTables, GiveNoTwoStatesOneIdentifier)
{
    writeState("own/a.json", "0x01", "31");
    folder.write("own/b.json",
                 sensorTypeFile("0xC0", "BLD",
                                "\"0x02\": " + eventState("BLD", "31") +
                                    ",\n\"0x03\": " + eventState("BLD", "33")));
    const EventTable table = load();
    EXPECT_THAT(table.problems(),
                ElementsAre(makePath("own/b.json") +
                            ": line 2: BLD31 is the identifier of another "
                            "event, in " +
                            makePath("own/a.json")));
    EXPECT_NE(table.find(0xC0, sensorSpecificEvent, 1), nullptr);
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 2), nullptr);
    EXPECT_NE(table.find(0xC0, sensorSpecificEvent, 3), nullptr);
}

TEST_F(EventTables, GiveNoTwoStatesOfAFileOneIdentifier)
{
    folder.write("own/a.json",
                 sensorTypeFile("0xC0", "BLD",
                                "\"0x01\": " + eventState("BLD", "31") +
                                    ",\n\"0x02\": " + eventState("BLD", "31")));
    EXPECT_THAT(load().problems(),
                ElementsAre(HasSubstr("a.json: line 7: BLD31 is the identifier "
                                      "of another event")));
}

TEST_F(EventTables, TakeNothingFromOthersForAStateThatIsLeftOut)
{
    std::string same = eventState("BLD", "31");
    same.replace(same.find("BLD931"), 6, "BLD31");
    folder.write("own/a.json",
                 sensorTypeFile("0xC0", "BLD", "\"0x01\": " + same));
    writeState("shipped/b.json", "0x01", "31");
    const EventTable table = load();
    EXPECT_THAT(table.problems(),
                ElementsAre(HasSubstr("a.json: line 4: BLD31 is the identifier "
                                      "of another event, in " +
                                      makePath("own/a.json"))));
    const EventState* state = table.find(0xC0, sensorSpecificEvent, 1);
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(state->deasserted.id, "BLD931");
}

TEST_F(EventTables, TakeNothingFromOthersForAStateOfAnEventTypeThatIsLeftOut)
{
    // Its second identifier is also that of a sensor type's state.
    writeState("own/a.json", "0x01", "931");
    folder.write(
        "own/b.json",
        eventTypeFile("0x03", "\"0x01\": " + eventState("{category}", "31")));
    writeState("own/c.json", "0x02", "31");
    std::string other = eventState("{category}", "31");
    other.replace(other.find("{category}931"), 13, "{category}77");
    folder.write("shipped/d.json", eventTypeFile("0x03", "\"0x01\": " + other));
    const EventTable table = load();
    EXPECT_EQ(table.problems().size(), 2U);
    ASSERT_NE(table.find(0xC0, 0x03, 1), nullptr);
    EXPECT_EQ(table.find(0xC0, 0x03, 1)->deasserted.id, "{category}77");
}

TEST_F(EventTables, LoseNoStateToAnIdentifierInAnEarlierFolder)
{
    writeState("shipped/b.json", "0x01", "31");
    writeState("own/a.json", "0x02", "31");
    const EventTable table = load();
    EXPECT_THAT(table.problems(),
                ElementsAre(makePath("own/a.json") +
                            ": line 2: BLD31 is the identifier of another "
                            "event, in " +
                            makePath("shipped/b.json")));
    ASSERT_NE(table.find(0xC0, sensorSpecificEvent, 1), nullptr);
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 2), nullptr);
}

TEST_F(EventTables, KeepAStateWhoseReplacementIsInvalid)
{
    folder.write("shipped/b.json",
                 sensorTypeFile("0xC0", "BLD",
                                "\"0x01\": " + eventState("BLD", "31") +
                                    ",\n\"0x02\": " + eventState("BLD", "32")));
    writeState("own/a.json", "0x02", "31");
    const EventTable table = load();
    EXPECT_THAT(table.problems(), ElementsAre(HasSubstr("a.json: line 2: ")));
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 1)->asserted.id, "BLD31");
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 2)->asserted.id, "BLD32");
}

TEST_F(EventTables, LoseNoStateToAnEventTypeInAnEarlierFolder)
{
    writeState("shipped/b.json", "0x01", "31");
    folder.write(
        "own/a.json",
        eventTypeFile("0x03", "\"0x01\": " + eventState("{category}", "31")));
    const EventTable table = load();
    EXPECT_THAT(table.problems(), ElementsAre(HasSubstr("a.json: line 2: ")));
    EXPECT_NE(table.find(0xC0, sensorSpecificEvent, 1), nullptr);
    EXPECT_EQ(table.find(0xC0, 0x03, 1), nullptr);
}

TEST_F(EventTables, FreeTheIdentifiersOfAStateThatIsReplaced)
{
    writeState("shipped/b.json", "0x01", "31");
    folder.write("own/a.json",
                 sensorTypeFile("0xC0", "BLD",
                                "\"0x01\": " + eventState("BLD", "40") +
                                    ",\n\"0x02\": " + eventState("BLD", "31")));
    const EventTable table = load();
    EXPECT_THAT(table.problems(), testing::IsEmpty());
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 1)->asserted.id, "BLD40");
    EXPECT_EQ(table.find(0xC0, sensorSpecificEvent, 2)->asserted.id, "BLD31");
}

TEST_F(EventTables, LoseNoSensorTypeToACategoryInAnEarlierFolder)
{
    writeState("shipped/b.json", "0x01", "31");
    folder.write("own/a.json", sensorTypeFile("0xC1", "BLD", ""));
    folder.write("own/b.json", sensorTypeFile("0xC0", "BLE", ""));
    const EventTable table = load();
    EXPECT_THAT(table.problems(),
                ElementsAre(HasSubstr("a.json: line 1: BLD is the category of "
                                      "0xC0"),
                            HasSubstr("b.json: line 1: BLE is not BLD, the "
                                      "category of 0xC0")));
    EXPECT_EQ(table.sensorType(0xC0)->category, "BLD");
    EXPECT_NE(table.find(0xC0, sensorSpecificEvent, 1), nullptr);
}

TEST_F(EventTables, TakeASensorTypesNameFromTheFirstFolder)
{
    std::string other = sensorTypeFile("0xC0", "BLD", "");
    other.replace(other.find("Blade"), 5, "Board");
    other.replace(other.find("Blade"), 5, "Shelf");
    folder.write("own/a.json", other);
    folder.write("own/b.json", sensorTypeFile("0xC0", "BLD", ""));
    writeState("shipped/b.json", "0x01", "31");
    const EventTable table = load();
    EXPECT_EQ(table.sensorType(0xC0)->name, "Board");
    EXPECT_EQ(table.sensorType(0xC0)->component, "Shelf");
}

TEST_F(EventTables, GiveNoStateAnIdentifierOfAnEventType)
{
    const std::string common =
        eventTypeFile("0x03", "\"0x01\": " + eventState("{category}", "31"));
    writeState("own/b.json", "0x01", "31");
    folder.write("own/a.json", common);
    EXPECT_THAT(load().problems(),
                ElementsAre(HasSubstr("b.json: line 2: BLD31 is the")));
    folder.write("own/a.json", "{}");
    folder.write("own/c.json", common);
    EXPECT_THAT(load().problems(),
                ElementsAre(HasSubstr("c.json: line 2: {category}31 is the")));
}

TEST_F(EventTables, KeepACategoryForOneSensorType)
{
    folder.write("own/a.json", sensorTypeFile("0xC0", "BLD", ""));
    folder.write("own/b.json", "\n" + sensorTypeFile("0xC1", "BLD", ""));
    const EventTable table = load();
    EXPECT_THAT(table.problems(),
                ElementsAre(makePath("own/b.json") +
                            ": line 2: BLD is the category of 0xC0"));
    EXPECT_EQ(table.sensorType(0xC1), nullptr);
}

TEST_F(EventTables, KeepOneCategoryForASensorType)
{
    folder.write("own/a.json", sensorTypeFile("0xC0", "BLD", ""));
    folder.write("own/b.json", sensorTypeFile("0xC0", "BLE", ""));
    const EventTable table = load();
    EXPECT_THAT(table.problems(),
                ElementsAre(makePath("own/b.json") +
                            ": line 1: BLE is not BLD, the category of 0xC0 "
                            "in another file"));
    EXPECT_EQ(table.sensorType(0xC0)->category, "BLD");
}

TEST_F(EventTables, FindTheMessageOfAnIdentifier)
{
    writeState("own/a.json", "0x01", "31");
    folder.write(
        "shipped/c.json",
        eventTypeFile("0x03", "\"0x02\": " + eventState("{category}", "41")));
    const EventTable table = load();

    const auto own = table.findMessage("BLD931");
    ASSERT_TRUE(own);
    EXPECT_EQ(own->message.text, "{sensor} works.");
    EXPECT_EQ(own->sensorType.name, "Blade");
    EXPECT_EQ(own->eventType, nullptr);
    EXPECT_EQ(own->offset, 1);
    EXPECT_FALSE(own->assertion);
    EXPECT_EQ(own->file, makePath("own/a.json"));

    const auto common = table.findMessage("BLD41");
    ASSERT_TRUE(common);
    EXPECT_EQ(common->message.text, "{sensor} broke.");
    EXPECT_EQ(common->sensorType.name, "Blade");
    ASSERT_NE(common->eventType, nullptr);
    EXPECT_EQ(common->eventType->name, "Own");
    EXPECT_EQ(common->offset, 2);
    EXPECT_TRUE(common->assertion);
    EXPECT_EQ(common->file, makePath("shipped/c.json"));
}

TEST_F(EventTables, FindNoMessageOfAnUnknownIdentifier)
{
    writeState("own/a.json", "0x01", "31");
    const EventTable table = load();
    for (const char* id : {"", "B", "BLD", "BLD3", "BLD311", "bld31", "TMP31",
                           "BLDx}31", "{category}31"})
    {
        EXPECT_FALSE(table.findMessage(id)) << id;
    }
}

} // namespace
} // namespace healthintf::host
