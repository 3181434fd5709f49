// SPDX-License-Identifier: Apache-2.0
#include "context.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>

namespace healthintf::healthctl
{
namespace
{

/** The JSON output for a document with one text. */
std::string written(const std::string& text)
{
    std::ostringstream out;
    const Context context{.out = out,
                          .style = Style(false, true),
                          .width = std::nullopt,
                          .json = true,
                          .compact = true};
    writeJson(context, "test/1", {{"text", text}});
    return out.str();
}

TEST(WrittenJson, LeavesOrdinaryTextUnchanged)
{
    EXPECT_EQ(written("Lüfter\n\"風扇\""),
              "{\"schema\":\"test/1\",\"text\":\"Lüfter\\n\\\"風扇\\\"\"}\n");
}

TEST(WrittenJson, EscapesMisleadingCharacters)
{
    EXPECT_EQ(written("\x1b\x7f\u009b\u061C\u202E\u2028\u2069\U000E0041"),
              "{\"schema\":\"test/1\",\"text\":\"\\u001b\\u007f\\u009b\\u061c"
              "\\u202e\\u2028\\u2069\\udb40\\udc41\"}\n");
}

TEST(WrittenJson, IsReadBackUnchanged)
{
    const std::string text =
        "a\x1b\x7f\u009b\u061C\u202E\u2028\u2069\U000E0041\U0001F600";
    EXPECT_EQ(nlohmann::json::parse(written(text))["text"], text);
}

TEST(WrittenJson, ReplacesInvalidUtf8)
{
    EXPECT_EQ(nlohmann::json::parse(written("a\xFF"))["text"], "a\uFFFD");
}

} // namespace
} // namespace healthintf::healthctl
