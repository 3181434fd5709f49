// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sdbusplus/message/types.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus::message::types
{
namespace
{

using std::string;

TEST(SignatureOfAType, IsOneLetterForABasicType)
{
    EXPECT_STREQ(signature_of<bool>, "b");
    EXPECT_STREQ(signature_of<uint8_t>, "y");
    EXPECT_STREQ(signature_of<int16_t>, "n");
    EXPECT_STREQ(signature_of<uint16_t>, "q");
    EXPECT_STREQ(signature_of<int32_t>, "i");
    EXPECT_STREQ(signature_of<uint32_t>, "u");
    EXPECT_STREQ(signature_of<int64_t>, "x");
    EXPECT_STREQ(signature_of<uint64_t>, "t");
    EXPECT_STREQ(signature_of<double>, "d");
    EXPECT_STREQ(signature_of<string>, "s");
    EXPECT_STREQ(signature_of<object_path>, "o");
    EXPECT_STREQ(signature_of<signature>, "g");
}

TEST(SignatureOfAType, IsTheSameHoweverATextIsHeld)
{
    EXPECT_STREQ(signature_of<const char*>, "s");
    EXPECT_STREQ(signature_of<char*>, "s");
    EXPECT_STREQ(signature_of<char[6]>, "s");
    EXPECT_STREQ(signature_of<const char(&)[6]>, "s");
    EXPECT_STREQ(signature_of<std::string_view>, "s");
    EXPECT_STREQ(signature_of<const string&>, "s");
}

TEST(SignatureOfAType, IsAnArrayForEverySequence)
{
    EXPECT_STREQ(signature_of<std::vector<string>>, "as");
    EXPECT_STREQ(signature_of<std::list<uint32_t>>, "au");
    EXPECT_STREQ(signature_of<std::deque<uint8_t>>, "ay");
    EXPECT_STREQ(signature_of<std::set<int64_t>>, "ax");
    EXPECT_STREQ(signature_of<std::unordered_set<string>>, "as");
    EXPECT_STREQ(signature_of<std::vector<std::vector<double>>>, "aad");
}

TEST(SignatureOfAType, IsAnArrayOfEntriesForAMap)
{
    EXPECT_STREQ((signature_of<std::map<string, uint32_t>>), "a{su}");
    EXPECT_STREQ((signature_of<std::unordered_map<uint8_t, bool>>), "a{yb}");
}

TEST(SignatureOfAType, HasTheMembersOfAStructure)
{
    EXPECT_STREQ((signature_of<std::tuple<bool, string, uint64_t>>), "(bst)");
    EXPECT_STREQ((signature_of<std::pair<int32_t, object_path>>), "(io)");
}

TEST(SignatureOfAType, TellsNothingOfAVariantsAlternatives)
{
    EXPECT_STREQ((signature_of<std::variant<bool, string>>), "v");
}

TEST(SignatureOfAType, IsSoundForNestedTypes)
{
    using Objects = std::map<
        object_path,
        std::map<string, std::map<string, std::variant<bool, string>>>>;
    EXPECT_STREQ(signature_of<Objects>, "a{oa{sa{sv}}}");
    using Deep =
        std::vector<std::pair<std::tuple<uint8_t>, std::map<string, Objects>>>;
    EXPECT_STREQ(signature_of<Deep>, "a((y)a{sa{oa{sa{sv}}}})");
}

TEST(SignatureOfAType, IsKnownToTheCompiler)
{
    static_assert(wire_t<std::map<string, bool>>::kind == Kind::dictionary);
    static_assert(wire_t<const std::vector<bool>&>::kind == Kind::sequence);
    static_assert(wire_t<const char(&)[2]>::kind == Kind::text);
    static_assert(std::string_view(signature_of<std::pair<bool, double>>) ==
                  "(bd)");
}

} // namespace
} // namespace sdbusplus::message::types
