// SPDX-License-Identifier: Apache-2.0
#include "node_key.hpp"

#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

const std::string root = "/com/vexa/olvar/health";

// tests/bus/ tests the nodes on a bus.

TEST(KeyOfANode, IsTheRootOrBelowIt)
{
    EXPECT_EQ(explainInvalidKey(root), "");
    EXPECT_EQ(explainInvalidKey(root + "/a/b_1"), "");
    EXPECT_EQ(explainInvalidKey("/com/vexa/olvar"), "not below " + root);
    EXPECT_EQ(explainInvalidKey(root + "x"), "not below " + root);
    EXPECT_EQ(explainInvalidKey("/"), "not below " + root);
}

TEST(KeyOfANode, IsAnObjectPath)
{
    for (const char* key :
         {"", "a", "/com/vexa/olvar/health/", "/com/vexa/olvar/health//a",
          "/com/vexa/olvar/health/a b"})
    {
        EXPECT_EQ(explainInvalidKey(key), "no object path") << key;
    }
}

TEST(KeyOfANode, IsOfLimitedDepthAndLength)
{
    std::string deep = root;
    for (std::size_t i = 0; i < maxDepth; ++i)
    {
        deep += "/x";
    }
    EXPECT_EQ(explainInvalidKey(deep), "");
    EXPECT_EQ(explainInvalidKey(deep + "/x"), "more than 32 levels deep");
    EXPECT_EQ(explainInvalidKey(root + "/" + std::string(462, 'x')), "");
    EXPECT_EQ(explainInvalidKey(root + "/" + std::string(463, 'x')),
              "more than 485 bytes long");
}

TEST(TextThatIsAKey, IsAShortPathBelowTheRoot)
{
    const std::string longest = root + "/" + std::string(462, 'x');
    EXPECT_EQ(longest.size(), maxKey);
    EXPECT_TRUE(isKey(longest.c_str()));
    EXPECT_FALSE(isKey((longest + "x").c_str()));
    EXPECT_TRUE(isKey(root.c_str()));
    EXPECT_TRUE(isKey((root + "/a/b_1").c_str()));
    for (const char* text :
         {"", "no path", "/", "/elsewhere", "/com/vexa/olvar/healthy",
          "/com/vexa/olvar/health/", "/com/vexa/olvar/health/a b"})
    {
        EXPECT_FALSE(isKey(text)) << text;
    }
}

TEST(AncestorsOfAKey, ComeFromTheRoot)
{
    EXPECT_EQ(withAncestors(root), std::vector<std::string>{root});
    EXPECT_EQ(withAncestors(root + "/a/b"),
              (std::vector<std::string>{root, root + "/a", root + "/a/b"}));
}

} // namespace
} // namespace healthintf::healthmgr
