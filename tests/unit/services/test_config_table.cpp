// SPDX-License-Identifier: Apache-2.0
#include "common/config_table.hpp"
#include "config_refusal.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

namespace healthintf::services
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class ConfigTableText : public testing::Test
{
  protected:
    toml::table parsed = toml::parse(R"(number = 5
text = "word"
empty = ""
half = 0.5
truth = true
)");
    ConfigTable table{parsed, "f", "t"};
};

TEST_F(ConfigTableText, GivesNumbersWithinTheirRange)
{
    EXPECT_EQ(table.number("number", 0, 5), 5);
    EXPECT_EQ(table.number("half", 0, 5), 0.5);
    EXPECT_EQ(table.number("missing", 0, 5, 3), 3);
    EXPECT_EQ(test::catchConfigError([&] {
                  table.number("number", 0, 4.5);
              }),
              "f:1: t.number: must be a number from 0 to 4.5");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.number("text", 0, 4);
              }),
              "f:2: t.text: must be a number from 0 to 4");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.number("missing", 0, 4);
              }),
              "f:1: t.missing: must be a number from 0 to 4");
}

TEST_F(ConfigTableText, GivesWholeNumbersWithinTheirRange)
{
    EXPECT_EQ(table.whole("number", 5, 6, 6), 5);
    EXPECT_EQ(table.whole("missing", 5, 6, 6), 6);
    for (const auto& [key, least, most] :
         {std::tuple{"number", 6, 7}, std::tuple{"number", 3, 4}})
    {
        EXPECT_EQ(
            test::catchConfigError([&, key = key, least = least, most = most] {
                table.whole(key, least, most, least);
            }),
            "f:1: t.number: must be a whole number from " +
                std::to_string(least) + " to " + std::to_string(most));
    }
    EXPECT_EQ(test::catchConfigError([&] {
                  table.whole("half", 0, 1, 1);
              }),
              "f:4: t.half: must be a whole number from 0 to 1");
}

TEST_F(ConfigTableText, GivesOneOfSeveralNumbers)
{
    EXPECT_EQ(table.readChoice("number", {1, 5}, 1), 5);
    EXPECT_EQ(table.readChoice("missing", {1, 5}, 1), 1);
    EXPECT_EQ(test::catchConfigError([&] {
                  table.readChoice("number", {1, 2}, 1);
              }),
              "f:1: t.number: must be one of 1, 2");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.readChoice("half", {1, 2}, 1);
              }),
              "f:4: t.half: must be one of 1, 2");
}

TEST_F(ConfigTableText, GivesTexts)
{
    EXPECT_EQ(table.text("text"), "word");
    EXPECT_EQ(table.text("missing", "usual"), "usual");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.text("empty");
              }),
              "f:3: t.empty: must be a text");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.text("number", "usual");
              }),
              "f:1: t.number: must be a text");
}

TEST_F(ConfigTableText, GivesFlags)
{
    EXPECT_TRUE(table.flag("truth", false));
    EXPECT_TRUE(table.flag("missing", true));
    EXPECT_FALSE(table.flag("missing", false));
    EXPECT_EQ(test::catchConfigError([&] {
                  table.flag("number", true);
              }),
              "f:1: t.number: must be true or false");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.flag("text", true);
              }),
              "f:2: t.text: must be true or false");
}

TEST_F(ConfigTableText, GivesListsOfTexts)
{
    const toml::table lists = toml::parse(R"(words = ["one", "two"]
none = []
mixed = ["one", 2]
blank = ["one", ""]
cut = ["one\u0000two"]
)");
    ConfigTable texts(lists, "f", "t");
    EXPECT_THAT(texts.texts("words", {"usual"}), ElementsAre("one", "two"));
    EXPECT_THAT(texts.texts("none", {"usual"}), IsEmpty());
    EXPECT_THAT(texts.texts("missing", {"usual"}), ElementsAre("usual"));
    for (const auto& [where, cause] :
         {std::pair{"3: t.mixed", "must be a list of texts"},
          std::pair{"4: t.blank", "must be a list of texts"},
          std::pair{"5: t.cut", "must have no NUL"}})
    {
        const std::string place(where);
        EXPECT_EQ(test::catchConfigError([&] {
                      texts.texts(place.substr(place.find('.') + 1), {});
                  }),
                  "f:" + place + ": " + cause);
    }
    EXPECT_EQ(test::catchConfigError([&] {
                  table.texts("text", {});
              }),
              "f:2: t.text: must be a list of texts");
}

TEST_F(ConfigTableText, KnowsTheFlagsAndListsThatWereRead)
{
    const toml::table own = toml::parse("truth = true\nwords = []");
    ConfigTable both(own, "f", "");
    both.flag("truth", false);
    EXPECT_THROW(both.finish(), ConfigError);
    both.texts("words", {});
    EXPECT_NO_THROW(both.finish());
}

TEST_F(ConfigTableText, GivesOneOfSeveralTexts)
{
    EXPECT_EQ(table.readChoice("text", {"word", "other"}), "word");
    EXPECT_EQ(table.readChoice("missing", {"word"}, "word"), "word");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.readChoice("text", {"a", "b"});
              }),
              "f:2: t.text: must be one of \"a\", \"b\"");
    EXPECT_EQ(test::catchConfigError([&] {
                  table.readChoice("missing", {"a"});
              }),
              "f:1: t.missing: must be one of \"a\"");
}

TEST_F(ConfigTableText, RefusesAnUnknownKey)
{
    table.number("number", 0, 9);
    table.text("text");
    table.number("half", 0, 9);
    EXPECT_EQ(test::catchConfigError([&] {
                  table.finish();
              }),
              "f:3: t.empty: is no known key");
}

TEST_F(ConfigTableText, KnowsItsKeys)
{
    EXPECT_TRUE(table.has("truth"));
    EXPECT_FALSE(table.has("missing"));
}

TEST(ConfigTableOfAFile, HasNoNameInFrontOfItsKeys)
{
    const toml::table parsed = toml::parse("a = 1");
    ConfigTable table(parsed, "f", "");
    EXPECT_THROW(table.finish(), ConfigError);
    table.number("a", 0, 2);
    EXPECT_NO_THROW(table.finish());
    try
    {
        table.fail("a", "is wrong");
    }
    catch (const ConfigError& e)
    {
        EXPECT_STREQ(e.what(), "f:1: a: is wrong");
    }
}

} // namespace
} // namespace healthintf::services
