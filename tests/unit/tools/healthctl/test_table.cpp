// SPDX-License-Identifier: Apache-2.0
#include "output/table.hpp"
#include "output/text.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace healthintf::healthctl
{
namespace
{

const Style plain(false, true);

std::string printed(const Table& table,
                    std::optional<std::size_t> width = std::nullopt,
                    const Style& style = plain)
{
    std::ostringstream out;
    table.print(out, style, width);
    return out.str();
}

TEST(TableTest, PutsColumnsBelowEachOther)
{
    Table table({});
    table.addRow({std::string("fan"), std::string("OK")});
    table.addRow({std::string("Lüfter"), std::string("warning")});
    EXPECT_EQ(printed(table), "fan     OK\nLüfter  warning\n");
}

TEST(TableTest, EscapesControlCharacters)
{
    Table table({});
    table.addRow({std::string("fan\nroot"), std::string("\u202E")});
    table.addText("  ", "  ", "a\u2028b\x1b[2J", Tone::plain);
    table.addLine("  ", "c\u200F\nd", Tone::plain);
    EXPECT_EQ(printed(table), "fan root  \\u202e\n"
                              "  a\\u2028b\\x1b[2J\n"
                              "  c\\u200f d\n");
}

TEST(TableTest, GivesNoRoomToAColumnThatIsEmpty)
{
    Table table({});
    table.addRow({std::string("fan"), std::string(), std::string("OK")});
    EXPECT_EQ(printed(table), "fan  OK\n");
}

TEST(TableTest, WritesNoBlanksAtTheEndOfALine)
{
    Table table({});
    table.addRow({std::string("a"), std::string("b")});
    table.addRow({std::string("long"), std::string()});
    EXPECT_EQ(printed(table), "a     b\nlong\n");
}

TEST(TableTest, ShortensTheColumnsThatGiveWayInTheirOrder)
{
    Table table({{1, 5}, {0, 3}});
    table.addRow({std::string("0123456789"), std::string("abcdefghij")});
    EXPECT_EQ(printed(table, 22), "0123456789  abcdefghij\n");
    EXPECT_EQ(printed(table, 19), "0123456789  abc…hij\n");
    EXPECT_EQ(printed(table, 14), "012…789  ab…ij\n");
}

TEST(TableTest, NeverShortensTheLeadOfACell)
{
    Table table({{0, 8}});
    table.addRow({Cell("a_long_name", Tone::plain, "├─ ")});
    EXPECT_EQ(printed(table, 8), "├─ a_…me\n");
}

TEST(TableTest, EndsARowThatIsStillTooWideAtTheEdge)
{
    Table table({});
    table.addRow({std::string("fan"), std::string("critical"),
                  Cell("x", Tone::plain, "<lead>")});
    EXPECT_EQ(printed(table, 11), "fan  cr…cal\n");
    EXPECT_EQ(printed(table, 5), "fan\n");
    EXPECT_EQ(printed(table, 17), "fan  critical\n");
}

TEST(TableTest, WrapsTextsWithTheIndentationOfTheirBullet)
{
    Table table({});
    table.addText("  • ", "    ", "the fan of the rack is slow", Tone::plain);
    EXPECT_EQ(printed(table, 24), "  • the fan of the rack\n    is slow\n");
    EXPECT_EQ(printed(table), "  • the fan of the rack is slow\n");
}

TEST(TableTest, IsNeverWiderThanTheTerminal)
{
    for (const Style& style : {Style(false, true), Style(false, false)})
    {
        Table table({{1, 20}, {0, 12}, {1, 8}});
        table.addRow({Cell("風扇_of_the_rack", Tone::plain, "│  │  │  └─ "),
                      std::string("critical"), std::string(),
                      Cell("風", Tone::plain, "• ")});
        table.addText("│  │  │  • ", "│  │  │    ", "風扇 is slow",
                      Tone::plain);
        table.addText("problem  ", "         ", "x", Tone::plain);
        table.addLine("  ", "/sensors/風扇/very/long", Tone::faint);
        for (std::size_t width = 1; width <= 60; ++width)
        {
            std::istringstream lines(printed(table, width, style));
            for (std::string line; std::getline(lines, line);)
            {
                EXPECT_LE(countColumns(line), width) << line;
                EXPECT_FALSE(line.empty()) << width;
            }
        }
    }
}

TEST(TableTest, KeepsNamesBehindTheirLead)
{
    Table table({{0, 4}});
    table.addRow({Cell("fan", Tone::plain, "│  │  │  └─ ")});
    table.addText("│  │  │  • ", "│  │  │    ", "is slow", Tone::plain);
    EXPECT_EQ(printed(table, 8), "│  │ fan\n│   is\n│   slow\n");
    EXPECT_EQ(printed(table, 2), "│…\n│i\n│s\n│s\n│l\n│o\n│w\n");
}

TEST(TableTest, ShortensLinesOfTheirOwn)
{
    Table table({});
    table.addLine("  ", "/sensors/a/very/long/name", Tone::faint);
    EXPECT_EQ(printed(table, 20), "  /sensors…long/name\n");
}

TEST(TableTest, ColoursTextsAndNotTheBlanksBetween)
{
    Table table({});
    table.addRow({Cell("bad", Tone::critical), Cell("x")});
    EXPECT_EQ(printed(table, std::nullopt, Style(true, true)),
              "\033[31;1mbad\033[0m  x\n");
}

} // namespace
} // namespace healthintf::healthctl
