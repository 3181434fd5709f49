// SPDX-License-Identifier: Apache-2.0
#include "message_registry/registry_file.hpp"

#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

using Strings = std::vector<std::string>;

std::string registry(const std::string& messages)
{
    return R"({
"RegistryPrefix": "Fan",
"RegistryVersion": "1.2.3",
"Language": "en",
"Messages": {
)" + messages +
           "}}";
}

std::string catchError(const std::string& text)
{
    try
    {
        parseRegistry(text);
    }
    catch (const RegistryError& e)
    {
        return e.what();
    }
    return "read";
}

TEST(RegistryFileText, GivesItsHeadAndMessages)
{
    const RegistryFile file = parseRegistry(registry(R"(
"Failed": {"Message": "Fan %1 failed.", "MessageSeverity": "Critical",
           "NumberOfArgs": 1},
"Slow": {"Message": "Fan %1 at %2.", "Severity": "Warning",
         "NumberOfArgs": 2},
"Fine": {"Message": "Fine.", "MessageSeverity": "OK", "Severity": "Critical",
         "NumberOfArgs": 0})"));
    EXPECT_EQ(file.prefix, "Fan");
    EXPECT_EQ(file.version, "1.2.3");
    EXPECT_EQ(file.language, "en");
    ASSERT_EQ(file.messages.size(), 3u);
    EXPECT_EQ(file.messages.at("Failed").severity, MessageSeverity::critical);
    EXPECT_EQ(file.messages.at("Failed").text, "Fan %1 failed.");
    EXPECT_EQ(file.messages.at("Failed").arguments, 1u);
    EXPECT_EQ(file.messages.at("Slow").severity, MessageSeverity::warning);
    EXPECT_EQ(file.messages.at("Fine").severity, MessageSeverity::ok)
        << "the newer name of the property counts";
    EXPECT_EQ(file.problems, Strings{});
}

TEST(RegistryFileText, LeavesOutAMessageAndNamesLineAndKey)
{
    const RegistryFile file = parseRegistry(registry(
        R"("Good": {"Message": "x", "MessageSeverity": "OK", "NumberOfArgs": 0},
"NoText": {"MessageSeverity": "OK", "NumberOfArgs": 0},
"Worse": {
  "Message": "x",
  "MessageSeverity": "Worse",
  "NumberOfArgs": 0},
"NoSeverity": {"Message": "x", "NumberOfArgs": 0},
"NoArgs": {"Message": "x", "MessageSeverity": "OK"},
"TextArgs": {"Message": "x", "MessageSeverity": "OK", "NumberOfArgs": "1"},
"ManyArgs": {"Message": "x", "MessageSeverity": "OK", "NumberOfArgs": 65},
"FewArgs": {"Message": "%2", "MessageSeverity": "OK",
  "NumberOfArgs": 1},
"Text": "x")"));
    EXPECT_EQ(file.messages.size(), 1u);
    EXPECT_EQ(
        file.problems,
        (Strings{
            "line 17: FewArgs: NumberOfArgs is less than the placeholders of "
            "Message",
            "line 15: ManyArgs: NumberOfArgs is no number from 0 to 64",
            "line 13: NoArgs: NumberOfArgs is missing",
            "line 12: NoSeverity: MessageSeverity is missing",
            "line 7: NoText: Message is no text", "line 18: Text: is no object",
            "line 14: TextArgs: NumberOfArgs is no number from 0 to 64",
            "line 10: Worse: MessageSeverity is none of Critical, Warning and "
            "OK"}));
}

TEST(RegistryFileText, MayHaveManyBadMessages)
{
    const auto parseBad = [](int count) {
        std::string messages;
        for (int i = 0; i < count; ++i)
        {
            messages += (i == 0 ? "\"K" : ",\"K") + std::to_string(i) + "\": 1";
        }
        return parseRegistry(registry(messages));
    };
    EXPECT_EQ(parseBad(10).problems.size(), 10U);
    EXPECT_EQ(parseBad(10).furtherProblems, 0U);
    EXPECT_EQ(parseBad(13).problems.size(), 10U);
    EXPECT_EQ(parseBad(13).furtherProblems, 3U);
}

TEST(RegistryFileText, MustBeJson)
{
    EXPECT_EQ(catchError("{\n\n\"a\": }"), "line 3: no valid JSON");
    EXPECT_EQ(catchError(""), "line 1: no valid JSON");
    EXPECT_EQ(catchError("\xFF\xFE"), "line 1: no valid JSON");
    EXPECT_EQ(catchError(R"({"a": 1e999})"), "a number is too large");
    EXPECT_EQ(catchError("[]"), "line 1: no JSON object");
}

TEST(RegistryFileText, MustHaveAHead)
{
    EXPECT_EQ(catchError("{}"), "line 1: RegistryPrefix is missing");
    EXPECT_EQ(catchError("{\n\"RegistryPrefix\": 5}"),
              "line 2: RegistryPrefix is no text");
    EXPECT_EQ(catchError(R"({"RegistryPrefix": "a"})"),
              "line 1: RegistryVersion is missing");
    EXPECT_EQ(catchError(R"({"RegistryPrefix": "a", "RegistryVersion": "1"})"),
              "line 1: Language is missing");
    EXPECT_EQ(catchError(R"({"RegistryPrefix": "a", "RegistryVersion": "1",
"Language": "en",
"Messages": []})"),
              "line 3: Messages is no object");
}

TEST(RegistryFileText, GivesTheNotesOfTheMessagesThatAreNotLeftOut)
{
    RegistryNotes notes;
    parseRegistry(registry(R"(
"Failed": {"Message": "Fan %1 failed.", "MessageSeverity": "Critical",
           "NumberOfArgs": 1, "Description": "It failed.",
           "Resolution": "Replace it.", "ParamTypes": ["number"],
           "ArgDescriptions": ["Which one."]},
"Bad": {"Description": "Left out."},
"Slow": {"Message": "Slow at %1.", "Severity": "Warning",
         "NumberOfArgs": 2})"),
                  &notes);
    ASSERT_EQ(notes.size(), 2U);
    EXPECT_EQ(notes.at("Failed").description, "It failed.");
    EXPECT_EQ(notes.at("Failed").resolution, "Replace it.");
    ASSERT_EQ(notes.at("Failed").arguments.size(), 1U);
    EXPECT_EQ(notes.at("Failed").arguments[0].type, "number");
    EXPECT_EQ(notes.at("Failed").arguments[0].description, "Which one.");
    EXPECT_EQ(notes.at("Slow").resolution, "");
    EXPECT_EQ(notes.at("Slow").arguments.size(), 2U);
}

} // namespace
} // namespace healthintf::host
