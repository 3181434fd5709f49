// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "source/process_name.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <limits>
#include <string>

namespace healthintf::healthctl
{
namespace
{

TEST(ProcessName, IsNameAndNumber)
{
    test::Child child([](const test::Child::Parent& parent) {
        prctl(PR_SET_NAME, "hostmon");
        parent.tell("named");
        test::Child::Parent::waitForever();
        return 0;
    });
    child.hear();
    EXPECT_EQ(readProcessName(child.pid()),
              "hostmon[" + std::to_string(child.pid()) + "]");
}

TEST(ProcessName, IsTheNumberAloneWhereProcDoesNotShowTheProcess)
{
    // Larger than any process id.
    constexpr auto nobody = std::numeric_limits<pid_t>::max();
    EXPECT_EQ(readProcessName(nobody), std::to_string(nobody));
}

TEST(UserName, IsTheNumberWhereTheSystemKnowsNone)
{
    constexpr uid_t nobody = 4'000'000'000;
    EXPECT_EQ(readUserName(0), "root");
    EXPECT_EQ(readUserName(nobody), "4000000000");
}

} // namespace
} // namespace healthintf::healthctl
