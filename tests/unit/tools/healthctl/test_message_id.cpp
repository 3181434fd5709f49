// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <model/message_id.hpp>

namespace healthintf::healthctl
{
namespace
{

TEST(MessageId, IsTheSameWithoutItsRegistryOrVersion)
{
    for (const char* form : {"Fans.1.0.2.Slow", "Fans.1.0.Slow", "Fans.1.Slow",
                             "Fans.Slow", "Slow"})
    {
        EXPECT_TRUE(isSameMessage("Fans.1.0.2.Slow", form)) << form;
        EXPECT_TRUE(isSameMessage(form, "Fans.1.0.Slow")) << form;
    }
}

TEST(MessageId, DiffersInAnyPartThatBothHave)
{
    for (const char* other :
         {"Fans.1.0.Slower", "Fan.1.0.Slow", "Fans.1.1.Slow", "Fans.10.Slow",
          "Fans.1.0.3.Slow", "slow", "low", "", "."})
    {
        EXPECT_FALSE(isSameMessage("Fans.1.0.2.Slow", other)) << other;
        EXPECT_FALSE(isSameMessage(other, "Fans.1.0.2.Slow")) << other;
    }
}

TEST(MessageId, MayHaveNoParts)
{
    EXPECT_TRUE(isSameMessage("", ""));
    EXPECT_TRUE(isSameMessage("TMP0109", "TMP0109"));
    EXPECT_FALSE(isSameMessage("TMP0109", "TMP010"));
}

} // namespace
} // namespace healthintf::healthctl
