// SPDX-License-Identifier: Apache-2.0
#include <platform/utf8.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf
{
namespace
{

TEST(Utf8, IsAnyTextOfWholeCharacters)
{
    for (const char* text :
         {"", "a", "system.embedded.1#lcd.1#hideerrs", "\"\\\n", "\xC3\xA4",
          "\xE2\x82\xAC", "\xF0\x9F\x98\x80"})
    {
        EXPECT_TRUE(isUtf8(text)) << text;
    }
}

TEST(Utf8, IsNotBrokenOverlongOrBeyondTheLastCharacter)
{
    for (const char* text :
         {"\xFF", "\x80", "a\xC3", "\xC3(", "\xC0\x80", "\xE2\x82",
          "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE0\x80\x80"})
    {
        EXPECT_FALSE(isUtf8(text)) << testing::PrintToString(text);
    }
}

TEST(Utf8, IsTakenApartIntoCharacters)
{
    std::vector<uint32_t> codes;
    forEachCharacter("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xFF",
                     [&codes](const Character& character) {
                         codes.push_back(character.code);
                     });
    EXPECT_EQ(codes,
              (std::vector<uint32_t>{'a', 0xE4, 0x20AC, 0x1F600, 0xFFFD}));
}

/** The length of the first character in bytes; 0 if it is not valid. */
std::size_t validBytes(std::string_view text)
{
    const Character first = firstCharacter(text);
    return first.valid ? first.bytes.size() : 0;
}

TEST(FirstCharacter, HasTheBytesOfItsLength)
{
    EXPECT_EQ(validBytes("ab"), 1u);
    EXPECT_EQ(validBytes("\xC3\xA4x"), 2u);
    EXPECT_EQ(validBytes("\xE2\x82\xACx"), 3u);
    EXPECT_EQ(validBytes("\xF0\x9F\x98\x80x"), 4u);
    EXPECT_EQ(validBytes(std::string_view("\0x", 2)), 1u);
}

TEST(FirstCharacter, MayBeTheLastOfEachLength)
{
    EXPECT_EQ(validBytes("\x7F"), 1u);
    EXPECT_EQ(validBytes("\xDF\xBF"), 2u);
    EXPECT_EQ(validBytes("\xEF\xBF\xBD"), 3u);
    EXPECT_EQ(validBytes("\xF4\x8F\xBF\xBD"), 4u);
}

TEST(FirstCharacter, IsNotValidWithInvalidBytes)
{
    for (const char* text :
         {"\x80", "\xBF", "\xFF", "\xC3", "\xC3(", "\xE2\x82", "\xE2(\xAC",
          "\xF0\x9F\x98", "\xF8\x88\x80\x80\x80"})
    {
        EXPECT_FALSE(firstCharacter(text).valid) << text;
    }
}

TEST(FirstCharacter, IsNotValidWhenOverlong)
{
    EXPECT_FALSE(firstCharacter("\xC0\x80").valid);
    EXPECT_FALSE(firstCharacter("\xE0\x80\xAF").valid);
    EXPECT_FALSE(firstCharacter("\xF0\x80\x80\xAF").valid);
}

TEST(FirstCharacter, IsNoSurrogateNorTooLarge)
{
    EXPECT_FALSE(firstCharacter("\xED\xA0\x80").valid);
    EXPECT_FALSE(firstCharacter("\xED\xBF\xBF").valid);
    EXPECT_FALSE(firstCharacter("\xF4\x90\x80\x80").valid);
}

TEST(FirstCharacter, IsNoNoncharacter)
{
    for (const char* text :
         {"\uFDD0", "\uFDEF", "\uFFFE", "\uFFFF", "\U0001FFFE", "\U0010FFFF"})
    {
        EXPECT_FALSE(firstCharacter(text).valid) << text;
    }
    for (const char* text : {"\uFDCF", "\uFDF0", "\uFFFD", "\U00010000",
                             "\U0001FFFD", "\U0001FDD0"})
    {
        EXPECT_TRUE(firstCharacter(text).valid) << text;
    }
}

TEST(TruncateUtf8, KeepsAShortText)
{
    EXPECT_EQ(truncateUtf8("text", 4), "text");
    EXPECT_EQ(truncateUtf8("", 0), "");
}

TEST(TruncateUtf8, EndsBeforeACharacterThatDoesNotFit)
{
    EXPECT_EQ(truncateUtf8("text", 3), "tex");
    const std::string euro = "a\xE2\x82\xAC";
    EXPECT_EQ(truncateUtf8(euro + "b", 4), euro);
    EXPECT_EQ(truncateUtf8(euro + "b", 3), "a");
    EXPECT_EQ(truncateUtf8(euro + "b", 2), "a");
    EXPECT_EQ(truncateUtf8(euro + "b", 1), "a");
    EXPECT_EQ(truncateUtf8(euro + "b", 0), "");
}

} // namespace
} // namespace healthintf
