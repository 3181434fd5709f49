#include <gtest/gtest.h>
#include <watch/screen.hpp>

namespace healthintf::healthctl
{
namespace
{

TEST(Screen, ShowsATextThatFitsWhole)
{
    EXPECT_EQ(pageOf("a\nb\n", 2), "a\033[K\nb\033[K");
    EXPECT_EQ(pageOf("", 2), "");
}

TEST(Screen, SaysHowManyLinesDoNotFit)
{
    EXPECT_EQ(pageOf("a\nb\nc\nd\n", 2), "a\033[K\n3 more lines\033[K");
    EXPECT_EQ(pageOf("a\nb\n", 1), "2 more lines\033[K");
    EXPECT_EQ(pageOf("a\nb\n", 0), "2 more lines\033[K");
}

} // namespace
} // namespace healthintf::healthctl
