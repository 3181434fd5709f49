// SPDX-License-Identifier: Apache-2.0
#include "event_table_text.hpp"
#include "explanation.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

namespace healthintf::host
{
namespace
{

using test::eventState;
using test::sensorTypeFile;
using testing::IsEmpty;
using testing::SizeIs;

/** A registry with one message.
 *
 *  @param[in] members of the message, besides its text */
std::string makeRegistry(const std::string& version, const std::string& members)
{
    return R"({"RegistryPrefix": "Fan", "RegistryVersion": ")" + version +
           R"(", "Language": "en", "Messages": {
                "Slow": {"Message": "%1 turns at %2.", )" +
           members + "}}}";
}

constexpr const char* newForm = R"("MessageSeverity": "Critical",
    "NumberOfArgs": 2, "Description": "It turns slowly.",
    "Resolution": "Clean it.", "ParamTypes": ["string", "number"],
    "ArgDescriptions": ["The fan.", "Its speed."])";
constexpr const char* oldForm = R"("Severity": "Warning", "NumberOfArgs": 2)";

class Explaining : public testing::Test
{
  protected:
    Explaining()
    {
        const std::string folders = (folder.path() / "own").string() + ":" +
                                    (folder.path() / "shipped").string();
        setenv("HEALTHINTF_REGISTRY_PATH", folders.c_str(), 1);
        setenv("HEALTHINTF_EVENT_PATH", folders.c_str(), 1);
    }

    /** The explanation of a message that must be there. */
    static Explanation explain(const std::string& id)
    {
        return explainMessages({id}).at(id);
    }

    test::TemporaryFolder folder;
};

TEST_F(Explaining, TellsAllThatARegistrySaysOfAMessage)
{
    const auto file =
        folder.write("own/fan.json", makeRegistry("1.2.3", newForm));
    const Explanation slow = explain("Fan.1.2.Slow");
    EXPECT_EQ(slow.id, "Fan.1.2.3.Slow");
    EXPECT_EQ(slow.severity, "critical");
    EXPECT_EQ(slow.text, "%1 turns at %2.");
    EXPECT_EQ(slow.description, "It turns slowly.");
    EXPECT_EQ(slow.resolution, "Clean it.");
    ASSERT_THAT(slow.arguments, SizeIs(2));
    EXPECT_EQ(slow.arguments[1].place, "%2");
    EXPECT_EQ(slow.arguments[1].type, "number");
    EXPECT_EQ(slow.arguments[1].description, "Its speed.");
    EXPECT_FALSE(slow.arguments[1].optional);
    EXPECT_EQ(slow.file, file);
    EXPECT_FALSE(slow.event);
}

TEST_F(Explaining, FindsEveryFormOfAnIdentifier)
{
    folder.write("own/fan.json", makeRegistry("1.2.3", newForm));
    const Explanations found =
        explainMessages({"Slow", "Fan.Slow", "Fan.1.2.Slow", "Fan.1.2.3.Slow",
                         "Fan.1.3.Slow", "slow", ""});
    EXPECT_THAT(found, SizeIs(4));
    for (const auto& [id, explanation] : found)
    {
        EXPECT_EQ(explanation.id, "Fan.1.2.3.Slow") << id;
    }
}

TEST_F(Explaining, LeavesEmptyWhatAnOldRegistryDoesNotSay)
{
    folder.write("own/fan.json", makeRegistry("1.0.0", oldForm));
    const Explanation slow = explain("Slow");
    EXPECT_EQ(slow.severity, "warning");
    EXPECT_EQ(slow.description, "");
    EXPECT_EQ(slow.resolution, "");
    ASSERT_THAT(slow.arguments, SizeIs(2));
    EXPECT_EQ(slow.arguments[0].place, "%1");
    EXPECT_EQ(slow.arguments[0].type, "");
    EXPECT_EQ(slow.arguments[0].description, "");
}

TEST_F(Explaining, LeavesEmptyWhatIsNoText)
{
    folder.write("own/fan.json", makeRegistry("1.0.0", std::string(oldForm) +
                                                           R"(,
        "Description": 1, "Resolution": ["no"], "ParamTypes": "string",
        "ArgDescriptions": [{}, "Its speed.", "More than there are."])"));
    const Explanation slow = explain("Slow");
    EXPECT_EQ(slow.description, "");
    EXPECT_EQ(slow.resolution, "");
    ASSERT_THAT(slow.arguments, SizeIs(2));
    EXPECT_EQ(slow.arguments[0].type, "");
    EXPECT_EQ(slow.arguments[0].description, "");
    EXPECT_EQ(slow.arguments[1].description, "Its speed.");
}

TEST_F(Explaining, ChoosesTheFileThatDaemonsUse)
{
    folder.write("own/a.json", makeRegistry("1.0.0", oldForm));
    const auto newest =
        folder.write("shipped/b.json", makeRegistry("1.1.0", newForm));
    EXPECT_EQ(explain("Fan.Slow").file, newest);
    EXPECT_EQ(explain("Fan.1.0.Slow").severity, "warning");
    EXPECT_EQ(explain("Fan.1.1.Slow").severity, "critical");
}

TEST_F(Explaining, LeavesOutFilesThatCannotBeUsed)
{
    folder.write("own/a.json", "{");
    ASSERT_EQ(mkfifo((folder.path() / "own/b.json").c_str(), 0600), 0);
    folder.write("own/c.json",
                 makeRegistry("1.0.0", R"("MessageSeverity": "Blue",
                                           "NumberOfArgs": 2)"));
    EXPECT_THAT(explainMessages({"Slow"}), IsEmpty());
    folder.write("own/d.json", makeRegistry("1.0.0", oldForm));
    EXPECT_EQ(explain("Slow").file, folder.path() / "own/d.json");
}

TEST_F(Explaining, CutsLongTexts)
{
    const auto write = [this](std::size_t size) {
        folder.write("own/fan.json",
                     makeRegistry("1.0.0", std::string(oldForm) +
                                               R"(, "Resolution": ")" +
                                               std::string(size, 'x') + "\""));
    };
    write(maxExplainedText);
    EXPECT_EQ(explain("Slow").resolution, std::string(maxExplainedText, 'x'));
    write(maxExplainedText + 1);
    EXPECT_EQ(explain("Slow").resolution,
              std::string(maxExplainedText - 3, 'x') + "...");
}

TEST_F(Explaining, TellsWhichStateAMessageOfTheEventTableIsAbout)
{
    folder.write("own/fan.json", makeRegistry("1.0.0", oldForm));
    const auto file = folder.write(
        "shipped/b.json",
        sensorTypeFile("0xC0", "BLD", "\"0x02\": " + eventState("BLD", "31")));
    const Explanation event = explain("BLD31");
    EXPECT_EQ(event.id, "BLD31");
    EXPECT_EQ(event.file, file);
    ASSERT_TRUE(event.event);
    EXPECT_EQ(event.event->eventType, "");
    EXPECT_EQ(event.event->offset, 2);
    EXPECT_TRUE(event.event->asserted);
}

TEST_F(Explaining, FindsNothingWithoutFiles)
{
    EXPECT_THAT(explainMessages({"Slow", "BLD31"}), IsEmpty());
    EXPECT_THAT(explainMessages({}), IsEmpty());
}

} // namespace
} // namespace healthintf::host
