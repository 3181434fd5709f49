// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <watch/screen.hpp>

namespace healthintf::healthctl
{
namespace
{

TEST(Screen, ShowsATextThatFitsWhole)
{
    EXPECT_EQ(cutPage("a\nb\n", 2, 80), "a\033[K\nb\033[K");
    EXPECT_EQ(cutPage("", 2, 80), "");
}

TEST(Screen, ShowsHowManyLinesDoNotFit)
{
    EXPECT_EQ(cutPage("a\nb\nc\nd\n", 2, 80), "a\033[K\n3 more lines\033[K");
    EXPECT_EQ(cutPage("a\nb\n", 1, 80), "2 more lines\033[K");
    EXPECT_EQ(cutPage("a\nb\n", 0, 80), "2 more lines\033[K");
}

TEST(Screen, KeepsTheLineAboutHiddenLinesOnTheScreen)
{
    EXPECT_EQ(cutPage("a\nb\nc\n", 2, 6), "a\033[K\n2 more\033[K");
    EXPECT_EQ(cutPage("a\nb\nc\n", 2, 1), "a\033[K\n2\033[K");
}

} // namespace
} // namespace healthintf::healthctl
