// SPDX-License-Identifier: Apache-2.0
#include "event_description/event_table_file.hpp"
#include "event_description/json_node.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace healthintf::host
{
namespace
{

constexpr std::string_view text = R"({
"a": {
  "text": "one",
  "number": 7
},
"list": [1]
})";

class JsonNodes : public testing::Test
{
  protected:
    static std::string makeError(const std::function<void()>& what)
    {
        try
        {
            what();
        }
        catch (const EventTableError& e)
        {
            return e.what();
        }
        return "none";
    }

    static std::string failureToParse(std::string_view bad)
    {
        return makeError([bad] {
            JsonNode::parse(bad);
        });
    }

    const nlohmann::json parsed = JsonNode::parse(text);
    const JsonNode whole{parsed, text};
};

TEST_F(JsonNodes, GiveTheirValues)
{
    EXPECT_EQ(whole.at("a").at("text").asText(3), "one");
    EXPECT_EQ(whole.at("a").at("number").asNumber(7), 7u);
    EXPECT_EQ(whole.at("a").key(), "a");
    EXPECT_TRUE(whole.has("list"));
    EXPECT_FALSE(whole.has("text"));
    EXPECT_EQ(whole.at("a").members().size(), 2u);
}

TEST_F(JsonNodes, NameTheirPlaceWhenTheyAreInvalid)
{
    EXPECT_EQ(makeError([&] {
                  whole.at("a").at("text").asText(2);
              }),
              "line 3: a: text: is longer than 2 bytes");
    EXPECT_EQ(makeError([&] {
                  whole.at("a").at("number").asText(2);
              }),
              "line 4: a: number: is no text");
    EXPECT_EQ(makeError([&] {
                  whole.at("a").at("number").asNumber(6);
              }),
              "line 4: a: number: is no number from 0 to 6");
    EXPECT_EQ(makeError([&] {
                  whole.at("a").at("text").asNumber(6);
              }),
              "line 3: a: text: is no number from 0 to 6");
    EXPECT_EQ(makeError([&] {
                  whole.at("list").members();
              }),
              "line 6: list: is no object");
}

TEST_F(JsonNodes, NameMissingAndUnknownMembers)
{
    EXPECT_EQ(makeError([&] {
                  whole.at("a").at("other");
              }),
              "line 2: a: other is missing");
    EXPECT_EQ(makeError([&] {
                  whole.at("a").allowOnly({"text"});
              }),
              "line 4: a: number: is an unknown key");
    EXPECT_EQ(makeError([&] {
                  whole.allowOnly({"a", "list"});
              }),
              "none");
}

TEST_F(JsonNodes, AreInValidJsonOnly)
{
    EXPECT_EQ(failureToParse("{\n\"a\": }"), "line 2: no valid JSON");
    EXPECT_EQ(failureToParse(""), "line 1: no valid JSON");
    EXPECT_EQ(failureToParse("{\n\"a\": \"\xFF\"}"), "line 2: no valid JSON");
    EXPECT_EQ(failureToParse(R"({"a": 1e999})"), "a number is too large");
    EXPECT_EQ(failureToParse("[]"), "line 1: no JSON object");
}

TEST_F(JsonNodes, AreRefusedWhenTheyStandTwice)
{
    EXPECT_EQ(failureToParse("{\n\"a\": {\n\"b\": 1,\n\"b\": 2}}"),
              "line 3: a: b: is a duplicate key, first on this line");
    EXPECT_EQ(failureToParse(R"({"a": {"b": 1}, "b": {"a": 1}})"), "none");
}

} // namespace
} // namespace healthintf::host
