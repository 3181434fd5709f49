#include "child.hpp"
#include "data_cache/process_identity.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <unistd.h>

#include <csignal>

namespace healthintf::host
{
namespace
{

using test::Child;

TEST(ProcessIdentityOfAProcess, IsItsIdAndStart)
{
    const ProcessIdentity self = ProcessIdentity::self();
    EXPECT_EQ(self.pid, static_cast<uint32_t>(getpid()));
    EXPECT_GT(self.startTime, 0u);
    EXPECT_EQ(ProcessIdentity::of(getpid()), self);
    EXPECT_TRUE(self.alive());
}

TEST(ProcessIdentityOfAProcess, IsReadWhateverItsName)
{
    Child child([](const Child::Parent& parent) {
        prctl(PR_SET_NAME, "a) Z (b 1");
        parent.tell("named");
        Child::Parent::waitForever();
        return 0;
    });
    child.hear();
    EXPECT_TRUE(ProcessIdentity::of(child.pid()).alive());
}

TEST(ProcessIdentityOfAProcess, IsDeadAsAZombie)
{
    const pid_t pid = fork();
    if (pid == 0)
    {
        pause();
    }
    const ProcessIdentity identity = ProcessIdentity::of(pid);
    EXPECT_TRUE(identity.alive());
    kill(pid, SIGKILL);
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, pid, &info, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(identity.alive()) << "dead, though not reaped";
    EXPECT_EQ(ProcessIdentity::of(pid).pid, 0u);
    waitpid(pid, nullptr, 0);
    EXPECT_FALSE(identity.alive());
}

TEST(ProcessIdentityOfAProcess, LivesAlsoForWhomHasNoFileDescriptorLeft)
{
    EXPECT_EQ(test::inChild([] {
                  const pid_t pid = fork();
                  if (pid == 0)
                  {
                      pause();
                  }
                  const ProcessIdentity identity = ProcessIdentity::of(pid);
                  const rlimit none{0, 0};
                  setrlimit(RLIMIT_NOFILE, &none);
                  const bool lived = identity.alive();
                  kill(pid, SIGKILL);
                  waitpid(pid, nullptr, 0);
                  return lived && !identity.alive() ? 0 : 1;
              }),
              0);
}

TEST(ProcessIdentityOfAProcess, IsNotThatOfAnotherWithTheSameId)
{
    ProcessIdentity other = ProcessIdentity::self();
    ++other.startTime;
    EXPECT_FALSE(other.alive());
}

TEST(ProcessIdentityOfNobody, IsDead)
{
    EXPECT_FALSE(ProcessIdentity().alive());
    EXPECT_EQ(ProcessIdentity::of(-1).pid, 0u);
    EXPECT_EQ(ProcessIdentity::of(0).pid, 0u);
}

} // namespace
} // namespace healthintf::host
