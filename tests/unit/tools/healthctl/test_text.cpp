// SPDX-License-Identifier: Apache-2.0
#include "output/text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;

TEST(ColumnsOf, CountsCharactersInsteadOfBytes)
{
    EXPECT_EQ(countColumns("abc"), 3U);
    EXPECT_EQ(countColumns("äöü"), 3U);
    EXPECT_EQ(countColumns("風扇"), 4U);
    EXPECT_EQ(countColumns(""), 0U);
}

TEST(Shortened, LeavesATextThatFits)
{
    EXPECT_EQ(shortened("fan", 3, "…"), "fan");
}

TEST(Shortened, TakesOutTheMiddle)
{
    EXPECT_EQ(shortened("begin-middle-end", 9, "…"), "begi…-end");
    EXPECT_EQ(shortened("begin-middle-end", 9, "..."), "beg...end");
}

TEST(Shortened, NeverTakesMoreThanItMay)
{
    const std::string text = "風扇風扇 with a long name 風扇風扇";
    for (std::size_t columns = 0; columns < 40; ++columns)
    {
        EXPECT_LE(countColumns(shortened(text, columns, "…")), columns);
        EXPECT_LE(countColumns(shortened(text, columns, "...")), columns);
    }
}

TEST(Wrapped, BreaksAtBlanks)
{
    EXPECT_THAT(wrapped("the fan is slow", 7),
                ElementsAre("the fan", "is slow"));
    EXPECT_THAT(wrapped("the fan is slow", 9),
                ElementsAre("the fan", "is slow"));
}

TEST(Wrapped, BreaksBesideWideSigns)
{
    EXPECT_THAT(wrapped("fan 風扇風扇風扇 ab", 9),
                ElementsAre("fan 風扇", "風扇風扇", "ab"));
    EXPECT_THAT(wrapped("風扇fan", 6), ElementsAre("風扇", "fan"));
}

TEST(Wrapped, BreaksAWordThatIsLongerThanALine)
{
    EXPECT_THAT(wrapped("/a/long/path is full", 6),
                ElementsAre("/a/lon", "g/path", "is", "full"));
}

TEST(Wrapped, NeverTakesMoreThanItMay)
{
    for (std::size_t columns = 1; columns < 40; ++columns)
    {
        for (const std::string& line :
             wrapped("風扇風扇 with a long name 風扇風扇", columns))
        {
            EXPECT_LE(countColumns(line), columns) << line;
        }
    }
    EXPECT_THAT(wrapped("a風b", 1), ElementsAre("a", "?", "b"));
}

TEST(Beginning, IsThePartThatFits)
{
    EXPECT_EQ(beginning("風扇", 3), "風");
    EXPECT_EQ(beginning("fan", 3), "fan");
    EXPECT_EQ(beginning("fan", 0), "");
}

TEST(Wrapped, IsOneLineAtLeast)
{
    EXPECT_THAT(wrapped("", 5), ElementsAre(""));
    EXPECT_THAT(wrapped("ab", 0), ElementsAre("a", "b"));
}

TEST(Counted, HasAPluralButForOne)
{
    EXPECT_EQ(counted(0, "fault"), "0 faults");
    EXPECT_EQ(counted(1, "fault"), "1 fault");
    EXPECT_EQ(counted(2, "fault"), "2 faults");
}

} // namespace
} // namespace healthintf::healthctl
