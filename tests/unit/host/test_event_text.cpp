// SPDX-License-Identifier: Apache-2.0
#include "event_description/event_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const EventValues values{
    {"sensor", "Fan sensor 0x30"}, {"number", "0x30"}, {"reading", "0x05"}};

TEST(EventText, IsFilledWithItsValues)
{
    const FilledText filled =
        fillText("{sensor} stopped at {reading}, {number}.", values);
    EXPECT_EQ(filled.text, "Fan sensor 0x30 stopped at 0x05, 0x30.");
    EXPECT_THAT(filled.arguments,
                ElementsAre("Fan sensor 0x30", "0x30", "0x05"));
}

TEST(EventText, HasEachArgumentOnceAndTheSensorFirst)
{
    EXPECT_THAT(fillText("{number}, {number} of {sensor}", values).arguments,
                ElementsAre("Fan sensor 0x30", "0x30"));
}

TEST(EventText, LeavesOutBracketsWithoutAllTheirValues)
{
    EXPECT_EQ(fillText("A[, at {reading}][, over {threshold}].", values).text,
              "A, at 0x05.");
    const FilledText filled =
        fillText("[{reading} and {threshold}][ end]", values);
    EXPECT_EQ(filled.text, " end");
    EXPECT_THAT(filled.arguments, IsEmpty());
}

TEST(EventText, MayBeEmptyOrPlain)
{
    EXPECT_EQ(fillText("", values).text, "");
    EXPECT_EQ(fillText("plain", values).text, "plain");
}

TEST(EventText, IsValidWithKnownPlaceholders)
{
    EXPECT_EQ(textProblem("{sensor} {number}[{reading}][{threshold}]"
                          "[{extension2}{extension3}{detail}]",
                          TextUse::message),
              "");
    EXPECT_EQ(textProblem("{category} {number}", TextUse::lcd), "");
    EXPECT_EQ(textProblem("{category}0031", TextUse::id), "");
}

TEST(EventText, MayNotHaveUnknownPlaceholders)
{
    EXPECT_THAT(textProblem("{colour}", TextUse::message),
                HasSubstr("unknown placeholder {colour}"));
    EXPECT_THAT(textProblem("{sensor}", TextUse::lcd),
                HasSubstr("unknown placeholder {sensor}"));
    EXPECT_THAT(textProblem("{number}", TextUse::id),
                HasSubstr("unknown placeholder {number}"));
    EXPECT_THAT(textProblem("{}", TextUse::message),
                HasSubstr("unknown placeholder {}"));
}

TEST(EventText, MayUseOptionalValuesOnlyInBrackets)
{
    EXPECT_THAT(textProblem("at {reading}", TextUse::message),
                HasSubstr("outside square brackets"));
}

TEST(EventText, MustCloseItsBrackets)
{
    for (const char* text : {"{sensor", "{sen{sor}", "{sen]sor}"})
    {
        EXPECT_EQ(textProblem(text, TextUse::message), "has a { without a }")
            << text;
    }
    EXPECT_EQ(textProblem("sensor}", TextUse::message), "has a } without a {");
    for (const char* text : {"[a", "a]", "[a[b]]", "[a]]"})
    {
        EXPECT_EQ(textProblem(text, TextUse::message),
                  "has square brackets that do not match")
            << text;
    }
}

TEST(EventText, HasItsPlaceholdersInTheOrderOfTheArguments)
{
    const auto found = findPlaceholders(
        "At {number}, {sensor} is hot[: {reading}], {sensor} said.");
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].name, "sensor");
    EXPECT_FALSE(found[0].optional);
    EXPECT_EQ(found[1].name, "number");
    EXPECT_FALSE(found[1].optional);
    EXPECT_EQ(found[2].name, "reading");
    EXPECT_TRUE(found[2].optional);
    EXPECT_THAT(findPlaceholders("plain"), IsEmpty());
}

} // namespace
} // namespace healthintf::host
