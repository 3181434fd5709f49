// SPDX-License-Identifier: Apache-2.0
#include "error.hpp"
#include "model/component.hpp"

#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

const std::string root = "/com/vexa/olvar/health";

TEST(ComponentKey, IsWrittenWithOrWithoutTheRoot)
{
    EXPECT_EQ(parseKey("rack/fan"), root + "/rack/fan");
    EXPECT_EQ(parseKey(root + "/rack"), root + "/rack");
    EXPECT_EQ(parseKey("rack/fan/"), root + "/rack/fan");
    EXPECT_EQ(parseKey(root), root);
}

TEST(ComponentKey, MustBeAnObjectPath)
{
    for (const char* written : {"", "a//b", "a b", "/a-b"})
    {
        try
        {
            parseKey(written);
            ADD_FAILURE() << written;
        }
        catch (const Error& e)
        {
            EXPECT_EQ(e.code(), ExitCode::usage);
        }
    }
}

TEST(ComponentKey, IsShownAsItCanBeEntered)
{
    for (const std::string& key : {root, root + "/rack/fan", std::string("/x")})
    {
        EXPECT_EQ(parseKey(shownKey(key)), key);
    }
    EXPECT_EQ(shownKey(root + "/rack/fan"), "rack/fan");
}

TEST(ComponentKey, IsFoundFromAnEntrysPath)
{
    EXPECT_EQ(getComponent("/a/b/entry/Fault_1"), "/a/b");
    EXPECT_EQ(getComponent("/a/entry/b/entry/Fault_1"), "/a/entry/b");
}

TEST(ComponentKey, HasTheKeyAboveItsLastName)
{
    EXPECT_EQ(getParent("/com/vexa/olvar/health/psu/fan"),
              "/com/vexa/olvar/health/psu");
}

TEST(ComponentKey, IsBelowAnotherByWholeNames)
{
    EXPECT_TRUE(isAtOrBelow("/a/b", "/a"));
    EXPECT_TRUE(isAtOrBelow("/a", "/a"));
    EXPECT_TRUE(isAtOrBelow("/a", ""));
    EXPECT_FALSE(isAtOrBelow("/ab", "/a"));
    EXPECT_FALSE(isAtOrBelow("/a", "/a/b"));
}

} // namespace
} // namespace healthintf::healthctl
