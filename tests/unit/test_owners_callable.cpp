#include "owners_callable.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace health_namespace::details
{
namespace
{

using Callable = std::function<std::string(const std::string&)>;

TEST(CallableOfAnOwner, MayEndTheVariableThatItStandsIn)
{
    auto variable = std::make_unique<Callable>();
    *variable = [&variable,
                 kept = std::string(100, 'x')](const std::string& given) {
        variable.reset();
        return given + kept;
    };
    EXPECT_EQ(callOwners(*variable, "a"), "a" + std::string(100, 'x'));
}

TEST(CallableOfAnOwner, IsTheSameInEachCallAndInCopies)
{
    Callable variable = [calls = 0](const std::string& given) mutable {
        return given + std::to_string(++calls);
    };
    EXPECT_EQ(callOwners(variable, "a"), "a1");
    EXPECT_EQ(callOwners(variable, "b"), "b2");
    Callable copy = variable;
    EXPECT_EQ(callOwners(copy, "c"), "c3");
    EXPECT_EQ(variable("d"), "d4");
}

TEST(WatchForAnEnd, TellsOfItsObjectAlone)
{
    const int object = 0;
    const int other = 0;
    const EndWatch outer(&object);
    {
        const EndWatch inner(&other);
        EndWatch::tell(&other);
        EXPECT_TRUE(inner.isOver());
    }
    EXPECT_FALSE(outer.isOver());
    EndWatch::tell(&object);
    EXPECT_TRUE(outer.isOver());
    EndWatch::tell(&other);
}

} // namespace
} // namespace health_namespace::details
