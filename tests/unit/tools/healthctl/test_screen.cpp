// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <watch/screen.hpp>

#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

/** What is on a screen after some keys. */
std::string page(const std::string& text, const ScreenSize& size,
                 const std::vector<Key>& keys = {})
{
    Scrolling scrolling;
    std::string shown = cutPage(text, size, scrolling);
    for (const Key key : keys)
    {
        scrolling.move(key);
        shown = cutPage(text, size, scrolling);
    }
    return shown;
}

TEST(Screen, ShowsATextThatFitsWhole)
{
    EXPECT_EQ(page("a\nb\n", {2, 80}), "a\033[K\nb\033[K");
    EXPECT_EQ(page("a\nb\n", {2, 80}, {Key::end}), "a\033[K\nb\033[K");
    EXPECT_EQ(page("", {2, 80}), "");
}

TEST(Screen, ShowsHowManyLinesDoNotFit)
{
    EXPECT_EQ(page("a\nb\nc\nd\n", {2, 80}), "a\033[K\n3 more lines\033[K");
    EXPECT_EQ(page("a\nb\n", {1, 80}), "2 more lines\033[K");
    EXPECT_EQ(page("a\nb\n", {0, 80}), "2 more lines\033[K");
}

TEST(Screen, ScrollsBelowTheFirstLine)
{
    const std::string text = "a\nb\nc\nd\ne\n";
    EXPECT_EQ(page(text, {4, 80}),
              "a\033[K\nb\033[K\nc\033[K\n2 more lines\033[K");
    EXPECT_EQ(page(text, {4, 80}, {Key::down}),
              "a\033[K\nc\033[K\nd\033[K\n1 more line, 1 above\033[K");
    EXPECT_EQ(page(text, {4, 80}, {Key::end}),
              "a\033[K\nd\033[K\ne\033[K\nend, 2 above\033[K");
    EXPECT_EQ(page(text, {4, 80}, {Key::end, Key::down, Key::home}),
              page(text, {4, 80}));
}

TEST(Screen, ScrollsOnAScreenWithoutRoom)
{
    for (const std::size_t lines : {0U, 1U, 2U})
    {
        EXPECT_NE(page("a\nb\nc\n", {lines, 80}, {Key::end, Key::pageDown})
                      .find("end"),
                  std::string::npos);
    }
}

TEST(Screen, KeepsTheLineAboutHiddenLinesOnTheScreen)
{
    EXPECT_EQ(page("a\nb\nc\n", {2, 6}), "a\033[K\n2 more\033[K");
    EXPECT_EQ(page("a\nb\nc\n", {2, 1}), "a\033[K\n2\033[K");
}

} // namespace
} // namespace healthintf::healthctl
