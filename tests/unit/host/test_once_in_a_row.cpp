#include "once_in_a_row.hpp"

#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

TEST(OnceInARow, TellsAFailureOnceUntilAnotherOrASuccess)
{
    OnceInARow failures;
    EXPECT_TRUE(failures.isNews(1));
    EXPECT_FALSE(failures.isNews(1));
    EXPECT_TRUE(failures.isNews(2));
    EXPECT_TRUE(failures.isNews(1));
    failures.noteSuccess();
    EXPECT_TRUE(failures.isNews(1));
}

} // namespace
} // namespace healthintf::host
