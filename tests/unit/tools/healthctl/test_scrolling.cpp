// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <watch/scrolling.hpp>

#include <cstddef>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

constexpr std::size_t lines = 50;
constexpr std::size_t room = 20;

/** Where a text of 50 lines is after some keys, on a screen of 20. */
std::size_t scrollBy(const std::vector<Key>& keys)
{
    Scrolling scrolling;
    scrolling.fit(lines, room);
    for (const Key key : keys)
    {
        scrolling.move(key);
    }
    return scrolling.fit(lines, room);
}

TEST(Scrolling, BeginsAtTheFirstLine)
{
    EXPECT_EQ(scrollBy({}), 0U);
}

TEST(Scrolling, GoesByLinesAndPages)
{
    EXPECT_EQ(scrollBy({Key::down, Key::down}), 2U);
    EXPECT_EQ(scrollBy({Key::pageDown}), 20U);
    EXPECT_EQ(scrollBy({Key::pageDown, Key::up}), 19U);
    EXPECT_EQ(scrollBy({Key::end, Key::pageUp}), 10U);
}

TEST(Scrolling, StopsAtTheEnds)
{
    EXPECT_EQ(scrollBy({Key::up}), 0U);
    EXPECT_EQ(scrollBy({Key::end}), 30U);
    EXPECT_EQ(scrollBy({Key::end, Key::down, Key::pageDown}), 30U);
    EXPECT_EQ(scrollBy({Key::end, Key::home}), 0U);
}

TEST(Scrolling, DoesNothingWhenAllIsOnTheScreen)
{
    Scrolling scrolling;
    scrolling.fit(room, room);
    scrolling.move(Key::end);
    EXPECT_EQ(scrolling.fit(room, room), 0U);
}

TEST(Scrolling, GoesBackWhenTheTextBecomesShorter)
{
    Scrolling scrolling;
    scrolling.fit(lines, room);
    scrolling.move(Key::end);
    EXPECT_EQ(scrolling.fit(25, room), 5U);
    EXPECT_EQ(scrolling.fit(10, room), 0U);
}

TEST(Scrolling, HasAPageOfALineOnAScreenWithoutRoom)
{
    Scrolling scrolling;
    EXPECT_EQ(scrolling.fit(lines, 0), 0U);
    scrolling.move(Key::pageDown);
    EXPECT_EQ(scrolling.fit(lines, 0), 1U);
}

} // namespace
} // namespace healthintf::healthctl
