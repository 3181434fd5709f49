#include "utf8.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace healthintf::host
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

} // namespace
} // namespace healthintf::host
