#include "doorbell.hpp"

#include <gtest/gtest.h>

#include <poll.h>

namespace healthintf::hostmon
{
namespace
{

bool isReadable(const Doorbell& doorbell)
{
    pollfd state{.fd = doorbell.descriptor(), .events = POLLIN, .revents = 0};
    return poll(&state, 1, 0) == 1;
}

TEST(DoorbellOfALoop, IsReadableFromTheFirstRingToTheAnswer)
{
    const Doorbell doorbell;
    EXPECT_FALSE(isReadable(doorbell));
    doorbell.answer();
    doorbell.ring();
    doorbell.ring();
    EXPECT_TRUE(isReadable(doorbell));
    doorbell.answer();
    EXPECT_FALSE(isReadable(doorbell));
}

} // namespace
} // namespace healthintf::hostmon
