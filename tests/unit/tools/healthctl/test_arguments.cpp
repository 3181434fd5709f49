// SPDX-License-Identifier: Apache-2.0
#include <commands/arguments.hpp>
#include <gtest/gtest.h>

#include <string>

namespace healthintf::healthctl
{
namespace
{

TEST(GivenMoment, IsNothingForAnOptionThatWasNotGiven)
{
    EXPECT_EQ(givenMoment(""), std::nullopt);
    EXPECT_EQ(givenMoment("@5"), 5);
}

TEST(GivenMoment, NamesTheFormatOfATime)
{
    try
    {
        givenMoment("soon");
        FAIL();
    }
    catch (const Error& e)
    {
        EXPECT_EQ(e.code(), ExitCode::usage);
        EXPECT_EQ(
            std::string(e.what()),
            "\"soon\" is no time; write it as 2026-01-31, yesterday, 10m or "
            "@1700000000");
    }
}

TEST(Period, IsReadOfTheOptionsThatWereGiven)
{
    const Period period = readPeriod({.since = "@5", .until = ""});
    EXPECT_EQ(period.since, 5);
    EXPECT_EQ(period.until, std::nullopt);
    EXPECT_THROW(readPeriod({.since = "", .until = "soon"}), Error);
}

} // namespace
} // namespace healthintf::healthctl
