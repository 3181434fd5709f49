// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sdbusplus/message/native_types.hpp>

#include <map>
#include <string>
#include <string_view>
#include <type_traits>

namespace sdbusplus::message
{
namespace
{

std::size_t lengthOf(const std::string& text)
{
    return text.size();
}

TEST(ObjectPath, IsMadeOfAnyText)
{
    const std::string text = "/a";
    EXPECT_EQ(object_path("/a"), object_path(text));
    EXPECT_EQ(object_path(std::string("/a")).str, "/a");
    EXPECT_EQ(object_path().str, "");
}

TEST(ObjectPath, GoesWhereATextIsWanted)
{
    const object_path path("/a/b");
    EXPECT_EQ(lengthOf(path), 4u);
    EXPECT_EQ(std::string_view(path), "/a/b");
}

TEST(ObjectPath, OrdersLikeItsText)
{
    const std::map<object_path, int> sorted{{"/b", 2}, {"/a", 1}, {"/a/c", 3}};
    std::string order;
    for (const auto& [path, number] : sorted)
    {
        order += std::to_string(number);
    }
    EXPECT_EQ(order, "132");
}

TEST(TypeSignature, IsATextOfAnotherKind)
{
    EXPECT_EQ(signature("as"), signature(std::string("as")));
    EXPECT_LT(signature("as"), signature("s"));
    EXPECT_EQ(lengthOf(signature("a{sv}")), 5u);
    EXPECT_FALSE((std::is_same_v<object_path, signature>));
}

} // namespace
} // namespace sdbusplus::message
