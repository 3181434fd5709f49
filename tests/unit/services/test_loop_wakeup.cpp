// SPDX-License-Identifier: Apache-2.0
#include "common/loop_wakeup.hpp"

#include <gtest/gtest.h>

#include <poll.h>

namespace healthintf::services
{
namespace
{

bool isReadable(const LoopWakeup& wakeup)
{
    pollfd state{.fd = wakeup.descriptor(), .events = POLLIN, .revents = 0};
    return poll(&state, 1, 0) == 1;
}

TEST(LoopWakeup, IsReadableFromTheFirstWakeToTheReset)
{
    const LoopWakeup wakeup;
    EXPECT_FALSE(isReadable(wakeup));
    wakeup.reset();
    wakeup.wake();
    wakeup.wake();
    EXPECT_TRUE(isReadable(wakeup));
    wakeup.reset();
    EXPECT_FALSE(isReadable(wakeup));
}

} // namespace
} // namespace healthintf::services
