// SPDX-License-Identifier: Apache-2.0
#include "watch/ending_signals.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace healthintf::healthctl
{
namespace
{

/** Blocks a signal, as a loop that handles it does. */
void block(int number)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, number);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

TEST(EndingSignals, AreThoseThatTheProcessDoesNotIgnore)
{
    // Whoever started the tests may have ignored some.
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM})
    {
        std::signal(signal, SIG_DFL);
    }
    std::signal(SIGHUP, SIG_IGN);
    EXPECT_THAT(listEndingSignals(),
                testing::UnorderedElementsAre(SIGINT, SIGQUIT, SIGTERM));
    std::signal(SIGHUP, SIG_DFL);
    EXPECT_THAT(listEndingSignals(), testing::Contains(SIGHUP));
}

TEST(EndingSignals, EndTheProcessThoughTheyCameBefore)
{
    const auto endLate = [] {
        block(SIGTERM);
        raise(SIGTERM);
        const ImmediateEnd ending;
    };
    EXPECT_EXIT(endLate(), testing::ExitedWithCode(0), "");
}

TEST(EndingSignals, LetTheLastActBeDone)
{
    const auto end = [] {
        const ImmediateEnd ending([] {
            std::_Exit(7);
        });
        raise(SIGTERM);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(7), "");
}

TEST(EndingSignals, AreBlockedAgainAfterwards)
{
    const auto goOn = [] {
        block(SIGTERM);
        {
            const ImmediateEnd ending;
        }
        raise(SIGTERM);
        std::_Exit(1);
    };
    EXPECT_EXIT(goOn(), testing::ExitedWithCode(1), "");
}

TEST(EndingSignals, AreFollowedByTheEndOfTheReader)
{
    const auto write = [] {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        close(ends[0]);
        std::signal(SIGPIPE, SIG_IGN);
        block(SIGPIPE);
        endWithReader();
        const bool written = ::write(ends[1], "x", 1) == 1;
        std::_Exit(written ? 1 : 2);
    };
    EXPECT_EXIT(write(), testing::ExitedWithCode(0), "");
}

TEST(EndingSignals, DoNotEndAProcessThatIgnoresThem)
{
    const auto ignore = [] {
        std::signal(SIGHUP, SIG_IGN);
        const ImmediateEnd ending;
        raise(SIGHUP);
        std::_Exit(1);
    };
    EXPECT_EXIT(ignore(), testing::ExitedWithCode(1), "");
}

} // namespace
} // namespace healthintf::healthctl
