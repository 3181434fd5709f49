// SPDX-License-Identifier: Apache-2.0
#include "event_table_text.hpp"
#include "inspection.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace healthintf::host
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char* registry =
    R"({"RegistryPrefix": "Fan", "RegistryVersion": "1.0.0",
        "Language": "en", "Messages": {
            "Slow": {"Message": "It is slow.", "MessageSeverity": "Warning",
                     "NumberOfArgs": 0},
            "Odd": {"Message": "It is odd.", "MessageSeverity": "Blue",
                    "NumberOfArgs": 0}}})";

class Inspection : public testing::Test
{
  protected:
    Inspection()
    {
        const std::string folders = (folder.path() / "a").string() + ":" +
                                    (folder.path() / "b").string();
        setenv("HEALTHINTF_REGISTRY_PATH", folders.c_str(), 1);
        setenv("HEALTHINTF_EVENT_PATH", folders.c_str(), 1);
    }

    test::TemporaryFolder folder;
};

TEST_F(Inspection, FindsNoFilesInMissingFolders)
{
    for (const InstalledFiles& found :
         {inspectRegistries(), inspectEventTable()})
    {
        EXPECT_THAT(found.folders,
                    ElementsAre(folder.path() / "a", folder.path() / "b"));
        EXPECT_EQ(found.usable, 0);
        EXPECT_THAT(found.problems, IsEmpty());
    }
}

TEST_F(Inspection, CountsUsableFilesAndNamesThoseLeftOut)
{
    folder.write("a/fan.json", registry);
    const auto bad = folder.write("b/bad.json", "{");
    const InstalledFiles found = inspectRegistries();
    EXPECT_EQ(found.usable, 1);
    EXPECT_THAT(found.problems,
                ElementsAre(HasSubstr("fan.json: line 5: Odd: "),
                            HasSubstr(bad.string() + ": ")));
    EXPECT_EQ(inspectEventTable().usable, 0);
}

TEST_F(Inspection, CountsTheBadMessagesOfAFileAfterTheTenth)
{
    std::string messages;
    for (int i = 0; i < 13; ++i)
    {
        messages += (i == 0 ? "\"K" : ",\"K") + std::to_string(i) + "\": {}";
    }
    const auto file = folder.write("a/fan.json", R"({"RegistryPrefix": "Fan",
            "RegistryVersion": "1.0.0", "Language": "en", "Messages": {)" +
                                                     messages + "}}");
    const InstalledFiles found = inspectRegistries();
    ASSERT_EQ(found.problems.size(), 11U);
    EXPECT_EQ(found.problems.back(),
              file.string() + ": 3 more messages with errors");
}

TEST_F(Inspection, NamesTheEventsThatTheTableLeavesOut)
{
    folder.write(
        "b/shipped.json",
        test::sensorTypeFile("0xC0", "BLD",
                             "\"0x01\": " + test::eventState("BLD", "31")));
    folder.write("a/own.json", test::sensorTypeFile("0xC1", "BLD", ""));
    const auto bad = folder.write("a/bad.json", "{");
    const InstalledFiles found = inspectEventTable();
    EXPECT_EQ(found.usable, 2);
    EXPECT_THAT(found.problems,
                UnorderedElementsAre(HasSubstr(bad.string() + ": "),
                                     HasSubstr("own.json: line 1: BLD is the "
                                               "category of 0xC0")));
}

TEST_F(Inspection, ReadsFilesAgainEachTime)
{
    EXPECT_EQ(inspectRegistries().usable, 0);
    folder.write("a/fan.json", registry);
    EXPECT_EQ(inspectRegistries().usable, 1);
}

} // namespace
} // namespace healthintf::host
