// SPDX-License-Identifier: Apache-2.0
#include "comment.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;

TEST(Comment, IsOneLineOfPrintableText)
{
    EXPECT_EQ(explainInvalidComment("Lüfter 7 bestellt, Ticket \"12\""), "");
    for (const char* bad : {"a\nb", "a\tb", "\x1b[31m", "\xff", "\u202e"})
    {
        EXPECT_THAT(explainInvalidComment(bad), HasSubstr("printable"));
    }
}

TEST(Comment, SaysSomething)
{
    EXPECT_THAT(explainInvalidComment(""), HasSubstr("must say something"));
    EXPECT_THAT(explainInvalidComment("  "), HasSubstr("must say something"));
}

TEST(Comment, HasABoundedLength)
{
    EXPECT_EQ(explainInvalidComment(std::string(maxComment, 'x')), "");
    EXPECT_THAT(explainInvalidComment(std::string(maxComment + 1, 'x')),
                HasSubstr("has 513 bytes, more than 512"));
}

} // namespace
} // namespace healthintf::healthmgr
