#include "utf8_prefix.hpp"

#include <gtest/gtest.h>

namespace healthintf::exporter
{
namespace
{

TEST(Utf8Prefix, IsTheFirstCharacter)
{
    EXPECT_EQ(utf8Prefix("ab"), 1u);
    EXPECT_EQ(utf8Prefix("\xC3\xA4x"), 2u);
    EXPECT_EQ(utf8Prefix("\xE2\x82\xACx"), 3u);
    EXPECT_EQ(utf8Prefix("\xF0\x9F\x98\x80x"), 4u);
    EXPECT_EQ(utf8Prefix(std::string_view("\0x", 2)), 1u);
}

TEST(Utf8Prefix, TakesTheLastCharacterOfEachLength)
{
    EXPECT_EQ(utf8Prefix("\x7F"), 1u);
    EXPECT_EQ(utf8Prefix("\xDF\xBF"), 2u);
    EXPECT_EQ(utf8Prefix("\xEF\xBF\xBF"), 3u);
    EXPECT_EQ(utf8Prefix("\xF4\x8F\xBF\xBF"), 4u);
}

TEST(Utf8Prefix, IsNothingOfBytesThatAreNoCharacter)
{
    for (const char* text :
         {"\x80", "\xBF", "\xFF", "\xC3", "\xC3(", "\xE2\x82", "\xE2(\xAC",
          "\xF0\x9F\x98", "\xF8\x88\x80\x80\x80"})
    {
        EXPECT_EQ(utf8Prefix(text), 0u) << text;
    }
}

TEST(Utf8Prefix, IsNothingOfACharacterInTooManyBytes)
{
    EXPECT_EQ(utf8Prefix("\xC0\x80"), 0u);
    EXPECT_EQ(utf8Prefix("\xE0\x80\xAF"), 0u);
    EXPECT_EQ(utf8Prefix("\xF0\x80\x80\xAF"), 0u);
}

TEST(Utf8Prefix, IsNothingOfASurrogateOrATooLargeNumber)
{
    EXPECT_EQ(utf8Prefix("\xED\xA0\x80"), 0u);
    EXPECT_EQ(utf8Prefix("\xED\xBF\xBF"), 0u);
    EXPECT_EQ(utf8Prefix("\xF4\x90\x80\x80"), 0u);
}

} // namespace
} // namespace healthintf::exporter
