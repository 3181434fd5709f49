// SPDX-License-Identifier: Apache-2.0
#include "message_registry/message_arguments.hpp"

#include <gtest/gtest.h>

namespace healthintf::host
{
namespace
{

TEST(FillArguments, PutsEachInItsPlaces)
{
    EXPECT_EQ(fillArguments("%2 before %1, and %1 again", {"a", "b"}),
              "b before a, and a again");
    EXPECT_EQ(fillArguments("%10%1", {"1", "2", "3", "4", "5", "6", "7", "8",
                                      "9", "ten"}),
              "ten1");
}

TEST(FillArguments, RemovesAPlaceholderWithoutArgument)
{
    EXPECT_EQ(fillArguments("a%1b%2c", {"x"}), "axbc");
    EXPECT_EQ(fillArguments("%99999999", {}), "");
}

TEST(FillArguments, KeepsOtherPercentSigns)
{
    EXPECT_EQ(fillArguments("100% of %1%", {"x"}), "100% of x%");
    EXPECT_EQ(fillArguments("%0 %-1 %s", {"x"}), "%0 %-1 %s");
    EXPECT_EQ(fillArguments("%99999999999999999999999", {"x"}),
              "%99999999999999999999999");
}

TEST(FillArguments, FillsNothingIntoArguments)
{
    EXPECT_EQ(fillArguments("%1 %2", {"%2", "x"}), "%2 x");
}

} // namespace
} // namespace healthintf::host
