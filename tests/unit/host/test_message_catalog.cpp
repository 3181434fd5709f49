// SPDX-License-Identifier: Apache-2.0
#include "message_registry/message_catalog.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

namespace healthintf::host
{
namespace
{

using testing::HasSubstr;

RegistryFile registry(const std::string& prefix, const std::string& version,
                      const std::string& key, const std::string& text,
                      const std::string& language = "en")
{
    return {.prefix = prefix,
            .version = version,
            .language = language,
            .messages = {{key,
                          {.severity = MessageSeverity::critical,
                           .text = text,
                           .arguments = 0}}},
            .problems = {}};
}

std::string formatText(const MessageCatalog& catalog, const std::string& id,
                       const std::string& language = "en")
{
    const Message* message = catalog.find(id, language);
    return message == nullptr ? "none" : message->text;
}

TEST(Versions, AreComparedNumberByNumber)
{
    EXPECT_TRUE(isNewer("1.10.0", "1.9.5"));
    EXPECT_FALSE(isNewer("1.9.5", "1.10.0"));
    EXPECT_TRUE(isNewer("2", "1.9"));
    EXPECT_TRUE(isNewer("1.0.1", "1.0"));
    EXPECT_FALSE(isNewer("1.0.0", "1"));
    EXPECT_FALSE(isNewer("1.2.3", "1.2.3"));
    EXPECT_FALSE(isNewer("x", "1"));
}

TEST(MessageCatalogEntries, AreFoundByEveryFormOfTheirIdentifier)
{
    MessageCatalog catalog;
    catalog.add(registry("Fan", "1.2.3", "Failed", "text"));
    for (const char* id :
         {"Failed", "Fan.Failed", "Fan.1.2.Failed", "Fan.1.2.3.Failed"})
    {
        EXPECT_EQ(formatText(catalog, id), "text") << id;
    }
    for (const char* id : {"failed", "Fan.1.Failed", "Fan.1.3.Failed",
                           "Other.Failed", "Fan.", ""})
    {
        EXPECT_EQ(formatText(catalog, id), "none") << id;
    }
}

TEST(MessageCatalogEntries, AreFoundInTheirLanguage)
{
    MessageCatalog catalog;
    catalog.add(registry("Fan", "1.0.0", "Failed", "failed"));
    catalog.add(registry("Fan", "1.0.0", "Failed", "ausgefallen", "de"));
    EXPECT_EQ(formatText(catalog, "Failed"), "failed");
    EXPECT_EQ(formatText(catalog, "Failed", "de"), "ausgefallen");
    EXPECT_EQ(formatText(catalog, "Failed", "fr"), "none");
}

TEST(MessageCatalogEntries, AreOfTheNewestVersionWhenNoneIsNamed)
{
    MessageCatalog catalog;
    catalog.add(registry("Fan", "1.9.0", "Failed", "old"));
    catalog.add(registry("Fan", "1.10.0", "Failed", "new"));
    catalog.add(registry("Fan", "1.2.0", "Failed", "oldest"));
    EXPECT_EQ(formatText(catalog, "Failed"), "new");
    EXPECT_EQ(formatText(catalog, "Fan.Failed"), "new");
    EXPECT_EQ(formatText(catalog, "Fan.1.9.Failed"), "old");
    EXPECT_EQ(formatText(catalog, "Fan.1.2.0.Failed"), "oldest");
}

TEST(MessageCatalogEntries, AreOfTheFirstRegistryWhenSeveralHaveTheKey)
{
    MessageCatalog catalog;
    catalog.add(registry("Fan", "1.0.0", "Failed", "fan"));
    catalog.add(registry("Disk", "9.0.0", "Failed", "disk"));
    EXPECT_EQ(formatText(catalog, "Failed"), "fan");
    EXPECT_EQ(formatText(catalog, "Disk.Failed"), "disk");
}

class MessageCatalogFolders : public testing::Test
{
  protected:
    static std::string content(const std::string& prefix,
                               const std::string& text)
    {
        return R"({"RegistryPrefix": ")" + prefix +
               R"(", "RegistryVersion": "1.0.0", "Language": "en",
"Messages": {"Failed": {"Message": ")" +
               text +
               R"(", "MessageSeverity": "Critical", "NumberOfArgs": 0}}})";
    }

    test::TemporaryFolder folder;
};

TEST_F(MessageCatalogFolders, AreReadInTheOrderOfFoldersAndNames)
{
    folder.write("one/b.json", content("Second", "b"));
    folder.write("one/a.json", content("First", "a"));
    folder.write("two/0.json", content("Third", "0"));
    folder.write("two/read.me", "no registry");
    const MessageCatalog catalog =
        MessageCatalog::load({folder.path() / "one", folder.path() / "missing",
                              folder.path() / "two"});
    EXPECT_EQ(formatText(catalog, "Failed"), "a");
    EXPECT_EQ(formatText(catalog, "Second.Failed"), "b");
    EXPECT_EQ(formatText(catalog, "Third.Failed"), "0");
}

TEST_F(MessageCatalogFolders, LoseNothingToAnInvalidFile)
{
    folder.write("a.json", "{\n\"RegistryPrefix\"");
    folder.write("b.json", content("Good", "b"));
    folder.write("c.json", R"({"RegistryPrefix": "Half",
"RegistryVersion": "1.0.0", "Language": "en", "Messages": {
"Bad": {"Message": 5},
"Fine": {"Message": "fine", "MessageSeverity": "OK", "NumberOfArgs": 0}}})");
    std::filesystem::create_directory(folder.path() / "d.json");
    testing::internal::CaptureStderr();
    const MessageCatalog catalog = MessageCatalog::load({folder.path()});
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(formatText(catalog, "Good.Failed"), "b");
    EXPECT_EQ(formatText(catalog, "Half.Fine"), "fine");
    EXPECT_EQ(catalog.size(), 4u + 4u);
    EXPECT_THAT(log, HasSubstr("a.json: line 2: no valid JSON: file left "
                               "out"));
    EXPECT_THAT(log, HasSubstr("c.json: line 3: Bad: Message is no text: "
                               "message left out"));
    EXPECT_THAT(log, HasSubstr("d.json: "));
}

TEST_F(MessageCatalogFolders, ThatCannotBeReadAreReported)
{
    const auto file = folder.write("file", "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(MessageCatalog::load({file}).size(), 0u);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("unable to read the folder"));
}

/** The lines that loading a folder logs. */
class MessageCatalogLines : public MessageCatalogFolders
{
  protected:
    std::string linesOfLoading() const
    {
        testing::internal::CaptureStderr();
        MessageCatalog::load({folder.path()});
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(MessageCatalogLines, NameOnceTheRegistryOfABareKey)
{
    folder.write("a.json", content("First", "a"));
    folder.write("b.json", content("Second", "b"));
    folder.write("c.json", content("Third", "c"));
    const std::string lines = linesOfLoading();
    const std::string line =
        "the registries " + (folder.path() / "a.json").string() + " and " +
        (folder.path() / "b.json").string() + " both have the key Failed";
    EXPECT_THAT(lines, HasSubstr(line));
    EXPECT_EQ(lines.find("both have", lines.find("both have") + 1),
              std::string::npos);
}

TEST_F(MessageCatalogLines, AreNoneForTwoVersionsOfOneRegistry)
{
    folder.write("a.json", content("First", "a"));
    folder.write("b.json", content("First", "b"));
    EXPECT_EQ(linesOfLoading(), "");
}

TEST_F(MessageCatalogLines, CountTheBareKeysAfterTheTenth)
{
    for (const char* prefix : {"First", "Second"})
    {
        std::string messages;
        for (int i = 0; i < 13; ++i)
        {
            messages += (i == 0 ? "\"K" : ",\"K") + std::to_string(i) +
                        R"(": {"Message": "", "MessageSeverity": "OK",
                              "NumberOfArgs": 0})";
        }
        folder.write(std::string(prefix) + ".json",
                     std::string(R"({"RegistryPrefix": ")") + prefix +
                         R"(", "RegistryVersion": "1.0.0", "Language": "en",
                            "Messages": {)" +
                         messages + "}}");
    }
    EXPECT_THAT(linesOfLoading(),
                HasSubstr("3 more keys are in more than one registry"));
}

TEST_F(MessageCatalogLines, CountTheBadMessagesOfAFileAfterTheTenth)
{
    std::string messages;
    for (int i = 0; i < 13; ++i)
    {
        messages += (i == 0 ? "\"K" : ",\"K") + std::to_string(i) + "\": {}";
    }
    folder.write("a.json", R"({"RegistryPrefix": "Fan", "Language": "en",
                               "RegistryVersion": "1.0.0", "Messages": {)" +
                               messages + "}}");
    const std::string lines = linesOfLoading();
    EXPECT_EQ(std::ranges::count(lines, '\n'), 11);
    EXPECT_THAT(lines, HasSubstr((folder.path() / "a.json").string() +
                                 ": 3 more messages with errors: left out"));
}

TEST_F(MessageCatalogFolders, LeaveOutFilesThatAreNotRegular)
{
    ASSERT_EQ(mkfifo((folder.path() / "a.json").c_str(), 0600), 0);
    std::filesystem::create_directory(folder.path() / "b.json");
    folder.write("c.json", content("Good", "c"));
    EXPECT_EQ(formatText(MessageCatalog::load({folder.path()}), "Failed"), "c");
}

TEST_F(MessageCatalogFolders, TellWhichFileAMessageIsFrom)
{
    const std::string first = folder.write("a.json", content("First", "a"));
    const std::string second = folder.write("b.json", content("Second", "b"));
    const MessageCatalog catalog = MessageCatalog::load({folder.path()});
    EXPECT_EQ(catalog.findFile("Failed", "en"), first);
    EXPECT_EQ(catalog.findFile("Second.1.0.Failed", "en"), second);
    EXPECT_EQ(catalog.findFile("Failed", "de"), "");
}

} // namespace
} // namespace healthintf::host
