// SPDX-License-Identifier: Apache-2.0
#include <platform/signal_blocker.hpp>

#include <gtest/gtest.h>

namespace healthintf
{
namespace
{

volatile std::sig_atomic_t taken = 0;

class BlockedSignals : public testing::Test
{
  protected:
    BlockedSignals()
    {
        taken = 0;
        before = std::signal(SIGUSR1, [](int /*number*/) {
            taken = taken + 1;
        });
    }

    ~BlockedSignals() override
    {
        std::signal(SIGUSR1, before);
    }

    static bool isBlocked(int number)
    {
        sigset_t blocked;
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        return sigismember(&blocked, number) == 1;
    }

    void (*before)(int) = nullptr;
};

TEST_F(BlockedSignals, AreTakenWhenTheWaitIsOver)
{
    {
        const SignalBlocker blocker;
        std::raise(SIGUSR1);
        EXPECT_EQ(taken, 0);
    }
    EXPECT_EQ(taken, 1);
}

TEST_F(BlockedSignals, DoNotIncludeFaultsOfTheThread)
{
    const SignalBlocker blocker;
    EXPECT_TRUE(isBlocked(SIGTERM));
    for (const int fault : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV})
    {
        EXPECT_FALSE(isBlocked(fault)) << fault;
    }
}

TEST_F(BlockedSignals, StayBlockedWhenTheyWereBefore)
{
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &one, nullptr);
    {
        const SignalBlocker blocker;
    }
    EXPECT_TRUE(isBlocked(SIGUSR1));
    EXPECT_FALSE(isBlocked(SIGTERM));
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
}

} // namespace
} // namespace healthintf
