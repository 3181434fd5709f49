#include "numbers.hpp"

#include <gtest/gtest.h>

#include <string>

namespace healthintf::healthctl
{
namespace
{

/** What is said of a text where a number from one on is wanted. */
std::string saidOf(std::string text)
{
    return numberFrom(1)(text);
}

TEST(NumberFrom, LetsWholeNumbersPass)
{
    EXPECT_EQ(saidOf("1"), "");
    EXPECT_EQ(saidOf("2147483647"), "");
}

TEST(NumberFrom, SaysWhatIsWanted)
{
    for (const char* text : {"0", "-1", "x", "", "1.5", "2147483648"})
    {
        EXPECT_EQ(saidOf(text),
                  "\"" + std::string(text) + "\" is no number from 1 on");
    }
}

} // namespace
} // namespace healthintf::healthctl
