// SPDX-License-Identifier: Apache-2.0
#include "common/object_lifetime.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace healthintf::services
{
namespace
{

TEST(ObjectLifetime, LetsCallbacksThroughWhileTheObjectIsThere)
{
    const ObjectLifetime object;
    int sum = 0;
    const std::function<void(int)> add = object.guard([&sum](int value) {
        sum += value;
    });
    add(2);
    add(3);
    EXPECT_EQ(sum, 5);
}

TEST(ObjectLifetime, KeepsCallbacksFromAnObjectThatIsGone)
{
    std::optional<ObjectLifetime> object(std::in_place);
    int calls = 0;
    const std::function<void()> callback = object->guard([&calls] {
        ++calls;
    });
    object.reset();
    callback();
    EXPECT_EQ(calls, 0);
}

} // namespace
} // namespace healthintf::services
