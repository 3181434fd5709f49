// SPDX-License-Identifier: Apache-2.0
#include "numbers.hpp"

#include <gtest/gtest.h>

#include <string>

namespace healthintf::healthctl
{
namespace
{

/** The error for a text where a number is expected. */
std::string catchComplaint(std::string text, const Range& range = {1})
{
    return numberIn(range)(text);
}

TEST(NumberIn, AcceptsWholeNumbers)
{
    EXPECT_EQ(catchComplaint("1"), "");
    EXPECT_EQ(catchComplaint("2147483647"), "");
}

TEST(NumberIn, NamesTheRange)
{
    for (const char* text : {"0", "-1", "x", "", "1.5", "2147483648", "0x1",
                             "+1", " 1", "1 ", "1e1", "{}"})
    {
        EXPECT_EQ(catchComplaint(text),
                  "\"" + std::string(text) +
                      "\" is no number from 1 to 2147483647");
    }
}

TEST(NumberIn, EndsAtBothBoundsOfItsRange)
{
    const Range range{-8, 8};
    EXPECT_EQ(catchComplaint("-8", range), "");
    EXPECT_EQ(catchComplaint("8", range), "");
    EXPECT_EQ(catchComplaint("9", range), "\"9\" is no number from -8 to 8");
    EXPECT_EQ(catchComplaint("-9", range), "\"-9\" is no number from -8 to 8");
}

/** The number that an option reads from a text. */
int readNumber(const std::string& text)
{
    CLI::App app;
    int number = -1;
    addNumber(app, "-n", number, {0}, "");
    app.parse("-n " + text);
    return number;
}

TEST(AddNumber, ReadsLeadingZerosAsDecimalDigits)
{
    EXPECT_EQ(readNumber("10"), 10);
    EXPECT_EQ(readNumber("010"), 10);
    EXPECT_EQ(readNumber("08"), 8);
    EXPECT_EQ(readNumber("000"), 0);
    EXPECT_THROW(readNumber("0x10"), CLI::ValidationError);
}

} // namespace
} // namespace healthintf::healthctl
