// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "process.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace healthintf::test
{
namespace
{

TEST(ChildOfATest, ReportsLineByLine)
{
    Child child([](const Child::Parent& parent) {
        parent.tell("one");
        parent.tell("two");
        return 7;
    });
    EXPECT_EQ(child.hear(), "one");
    EXPECT_EQ(child.hear(), "two");
    EXPECT_THROW(child.hear(), std::runtime_error);
    EXPECT_EQ(child.wait(), 7);
}

TEST(ChildOfATest, KeepsItsOutputAndItsException)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  []() -> int {
                      std::fputs("written\n", stderr);
                      throw std::runtime_error("thrown");
                  },
                  &errors),
              125);
    EXPECT_EQ(errors, "written\nthrown\n");
}

TEST(ChildOfATest, EndsAsIfCrashedWhenKilled)
{
    Child child([](const Child::Parent&) -> int {
        Child::Parent::waitForever();
    });
    child.kill();
    EXPECT_EQ(child.wait(), 128 + SIGKILL);
}

TEST(ChildOfATest, LosesTheRightsOfRoot)
{
    EXPECT_EQ(inChild([] {
                  leaveRoot();
                  return geteuid() != 0 && setuid(0) != 0 ? 0 : 1;
              }),
              0);
}

TEST(ChildOfATest, EndsWithATestThatIsKilled)
{
    Child test([](const Child::Parent& parent) -> int {
        const Child child([](const Child::Parent&) -> int {
            Child::Parent::waitForever();
        });
        parent.tell(std::to_string(child.pid()));
        Child::Parent::waitForever();
    });
    const pid_t child = std::stoi(test.hear());
    EXPECT_EQ(kill(child, 0), 0);
    test.kill();
    EXPECT_TRUE(endsInTime(child));
}

} // namespace
} // namespace healthintf::test
