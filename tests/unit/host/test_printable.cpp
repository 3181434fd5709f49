// SPDX-License-Identifier: Apache-2.0
#include "printable.hpp"

#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

TEST(Printable, LeavesOrdinaryTextUnchanged)
{
    for (const char* text :
         {"", "Lüfter 7: 95 °C", "風扇", "\\x1b \"~\"", "\u00A0",
          "\u061B\u061D", "\u200B\u200D\u2010", "\u2027\u202F", "\u2065\u206A",
          "\uFFFD", "\U0001F600", "\U000DFFFD\U000E0080", "\U0010FFFD"})
    {
        EXPECT_EQ(printable(text), text);
    }
}

TEST(Printable, ReplacesLineEndsBySpaces)
{
    EXPECT_EQ(printable("a\nb\tc\rd"), "a b c d");
}

TEST(Printable, EscapesControlCharacters)
{
    EXPECT_EQ(printable("\x1b[2J"), "\\x1b[2J");
    EXPECT_EQ(printable(std::string("\0\x01\x1f", 3)), "\\x00\\x01\\x1f");
    EXPECT_EQ(printable("\x7f"), "\\x7f");
    EXPECT_EQ(printable("\u0080\u009b\u009f"), "\\x80\\x9b\\x9f");
}

TEST(Printable, EscapesBidirectionalControls)
{
    EXPECT_EQ(printable("a\u202Eb"), "a\\u202eb");
    EXPECT_EQ(printable("\u061C\u200E\u200F"), "\\u061c\\u200e\\u200f");
    EXPECT_EQ(printable("\u202A\u202B\u202C\u202D"),
              "\\u202a\\u202b\\u202c\\u202d");
    EXPECT_EQ(printable("\u2066\u2067\u2068\u2069"),
              "\\u2066\\u2067\\u2068\\u2069");
}

TEST(Printable, EscapesLineAndParagraphSeparators)
{
    EXPECT_EQ(printable("a\u2028b\u2029c"), "a\\u2028b\\u2029c");
}

TEST(Printable, EscapesTagCharacters)
{
    EXPECT_EQ(printable("\U000E0000\U000E0041\U000E007F"),
              "\\U000e0000\\U000e0041\\U000e007f");
}

TEST(Printable, ReplacesInvalidUtf8)
{
    EXPECT_EQ(printable("a\xFF\xC3"), "a??");
    EXPECT_EQ(printable("\xE2\x82"), "??");
    EXPECT_EQ(printable("\xED\xA0\x80"), "???");
    EXPECT_EQ(printable("d\uFFFFx"), "d???x");
    // U+202E and a line end in overlong encodings.
    EXPECT_EQ(printable("\xF0\x82\x80\xAE"), "????");
    EXPECT_EQ(printable("\xC0\x8A"), "??");
}

} // namespace
} // namespace healthintf::host
