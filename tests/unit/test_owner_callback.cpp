// SPDX-License-Identifier: Apache-2.0
#include "owner_callback.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace health_namespace::details
{
namespace
{

using Callback = std::function<std::string(const std::string&)>;

TEST(OwnerCallback, MayDestroyTheVariableThatHoldsIt)
{
    auto variable = std::make_unique<Callback>();
    *variable = [&variable,
                 kept = std::string(100, 'x')](const std::string& given) {
        variable.reset();
        return given + kept;
    };
    EXPECT_EQ(callOwnerCallback(*variable, "a"), "a" + std::string(100, 'x'));
}

TEST(OwnerCallback, IsTheSameInEachCallAndInCopies)
{
    Callback variable = [calls = 0](const std::string& given) mutable {
        return given + std::to_string(++calls);
    };
    EXPECT_EQ(callOwnerCallback(variable, "a"), "a1");
    EXPECT_EQ(callOwnerCallback(variable, "b"), "b2");
    Callback copy = variable;
    EXPECT_EQ(callOwnerCallback(copy, "c"), "c3");
    EXPECT_EQ(variable("d"), "d4");
}

TEST(DestructionWatch, NoticesOnlyItsOwnObject)
{
    const int object = 0;
    const int other = 0;
    const DestructionWatch outer(&object);
    {
        const DestructionWatch inner(&other);
        DestructionWatch::markDestroyed(&other);
        EXPECT_TRUE(inner.isDestroyed());
    }
    EXPECT_FALSE(outer.isDestroyed());
    DestructionWatch::markDestroyed(&object);
    EXPECT_TRUE(outer.isDestroyed());
    DestructionWatch::markDestroyed(&other);
}

} // namespace
} // namespace health_namespace::details
