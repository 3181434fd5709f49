// SPDX-License-Identifier: Apache-2.0
#include "config_manager/attribute_request.hpp"
#include "config_manager/limits.hpp"

#include <gtest/gtest.h>

#include <string>

namespace healthintf::host
{
namespace
{

std::string faultOfName(const std::string& name)
{
    return requestProblem({name, 1, ""});
}

TEST(AttributeRequest, HasANameOfLettersDigitsAndFourMarks)
{
    EXPECT_EQ(faultOfName("system.embedded.1#lcd.1#hideerrs"), "");
    EXPECT_EQ(faultOfName("abcxyzABCXYZ0189.#_-"), "");
    const std::string allowed = "abcdefghijklmnopqrstuvwxyz"
                                "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.#_-";
    for (int byte = 0; byte < 256; ++byte)
    {
        const std::string name{'a', static_cast<char>(byte)};
        const bool may = byte != 0 && allowed.find(static_cast<char>(byte)) !=
                                          std::string::npos;
        EXPECT_EQ(isAttributeName(name), may) << byte;
        EXPECT_EQ(
            faultOfName(name),
            may ? ""
                : "its name has other characters than letters, digits and .#_-")
            << byte;
    }
}

TEST(AttributeRequest, HasANameOfOneTo255Bytes)
{
    EXPECT_EQ(faultOfName(""), "it has no name");
    EXPECT_FALSE(isAttributeName(""));
    const std::string longest(255, 'x');
    EXPECT_EQ(faultOfName(longest), "");
    EXPECT_TRUE(isAttributeName(longest));
    EXPECT_EQ(faultOfName(longest + "x"), "its name has more than 255 bytes");
    EXPECT_FALSE(isAttributeName(longest + "x"));
}

TEST(AttributeRequest, HasASourceThatIsAShortText)
{
    const std::string longest(maxSourceName, 'x');
    EXPECT_EQ(requestProblem({"a", 1, longest}), "");
    EXPECT_EQ(requestProblem({"a", 1, longest + "x"}),
              "the name of who sets it has more than 4096 bytes");
    EXPECT_EQ(requestProblem({"a", 1, "\xC3("}),
              "the name of who sets it is not UTF-8");
}

TEST(AttributeRequest, ThatFailedSaysThatNothingWasSet)
{
    const AttributeOutcome outcome = makeFailure(5, "some reason");
    EXPECT_EQ(outcome.code, 5);
    EXPECT_EQ(outcome.why, "an attribute was not set: some reason");
}

} // namespace
} // namespace healthintf::host
