// SPDX-License-Identifier: Apache-2.0
#include "message_registry/json_lines.hpp"

#include <gtest/gtest.h>

#include <tuple>

namespace healthintf::host
{
namespace
{

constexpr std::string_view text = R"({
  "Title": "Messages: all",
  "Messages": {
    "One": {
      "Text": "One",
      "Count": 1
    },
    "Two":
      { "Count" : 2 }
  }
})";

TEST(JsonLines, CountFromOne)
{
    EXPECT_EQ(countLinesUpTo(text, 0), 1u);
    EXPECT_EQ(countLinesUpTo(text, 2), 2u);
    EXPECT_EQ(countLinesUpTo("", 5), 1u);
    EXPECT_EQ(countLinesUpTo(text, 100000), 11u);
}

TEST(JsonLines, AreFoundByTheKeysAbove)
{
    EXPECT_EQ(findLineOfKeys(text, {"Messages"}), 3u);
    EXPECT_EQ(findLineOfKeys(text, {"Messages", "One", "Count"}), 6u);
    EXPECT_EQ(findLineOfKeys(text, {"Messages", "Two", "Count"}), 9u);
}

TEST(JsonLines, DoNotTakeATextForAKey)
{
    EXPECT_EQ(findLineOfKeys(R"({"a": "b",
"b": 1})",
                             {"b"}),
              2u);
}

TEST(JsonLines, AreLookedForWithinTheKeysAbove)
{
    EXPECT_EQ(findLineOfKeys(text, {"Messages", "One", "Two"}), 4u);
    EXPECT_EQ(findLineOfKeys(text, {"Title", "Count"}), 2u);
    EXPECT_EQ(findLineOfKeys(R"({"a": {"t": "}\"{"},
"b": {"c": 1}})",
                             {"a", "c"}),
              1u);
}

TEST(JsonLines, AreThoseOfTheLastExistingKey)
{
    EXPECT_EQ(findLineOfKeys(text, {"Messages", "Two", "Missing"}), 8u);
    EXPECT_EQ(findLineOfKeys(text, {"Missing"}), 1u);
    EXPECT_EQ(findLineOfKeys(text, {}), 1u);
    EXPECT_EQ(findLineOfKeys("\"cut", {"cut"}), 1u);
    EXPECT_EQ(findLineOfKeys("\n\"cut\"", {"cut"}), 1u);
}

TEST(JsonLines, AreNamedForInvalidJson)
{
    const std::string wrong = "{\n\"a\": }";
    try
    {
        std::ignore = nlohmann::json::parse(wrong);
        FAIL();
    }
    catch (const nlohmann::json::exception& e)
    {
        EXPECT_EQ(describeJsonError(wrong, e), "line 2: no valid JSON");
    }
}

TEST(JsonLines, AreUnknownForANumberThatIsTooLarge)
{
    try
    {
        std::ignore = nlohmann::json::parse("1e999");
        FAIL();
    }
    catch (const nlohmann::json::exception& e)
    {
        EXPECT_EQ(describeJsonError("1e999", e), "a number is too large");
    }
}

} // namespace
} // namespace healthintf::host
