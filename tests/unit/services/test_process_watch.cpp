#include "child.hpp"
#include "process_watch.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <unistd.h>

#include <memory>
#include <system_error>
#include <vector>

namespace healthintf::healthmgr
{
namespace
{

using host::ProcessIdentity;
using test::Child;

class WatchedProcesses : public testing::Test
{
  protected:
    static std::unique_ptr<Child> child()
    {
        return std::make_unique<Child>([](const Child::Parent&) -> int {
            Child::Parent::waitForever();
        });
    }

    services::EventLoop loop;
    std::vector<ProcessIdentity> ended;
    ProcessWatch watch{loop, [this](const ProcessIdentity& process) {
                           ended.push_back(process);
                           loop.exit(0);
                       }};
};

TEST_F(WatchedProcesses, AreToldOfWhenTheyEnd)
{
    const auto first = child();
    const auto second = child();
    const auto identity = ProcessIdentity::of(second->pid());
    watch.watch(ProcessIdentity::of(first->pid()));
    watch.watch(identity);
    second->kill();
    loop.run();
    EXPECT_EQ(ended, std::vector<ProcessIdentity>{identity});
}

TEST_F(WatchedProcesses, AreToldOfOnce)
{
    const auto process = child();
    const auto identity = ProcessIdentity::of(process->pid());
    watch.watch(identity);
    watch.watch(identity);
    process->kill();
    loop.run();
    EXPECT_EQ(ended.size(), 1u);
}

TEST_F(WatchedProcesses, AreToldOfAtOnceWhenTheyHaveEnded)
{
    const auto process = child();
    const auto identity = ProcessIdentity::of(process->pid());
    process->kill();
    watch.watch(identity);
    EXPECT_EQ(ended, std::vector<ProcessIdentity>{identity});
}

TEST_F(WatchedProcesses, AreToldApartFromTheDeadWithoutAFileDescriptor)
{
    const auto living = child();
    const auto dead = child();
    const auto identity = ProcessIdentity::of(dead->pid());
    const auto other = ProcessIdentity::of(living->pid());
    dead->kill();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    // A sanitizer looks at objects through a pipe, which takes two.
    const int lowest = dup(STDIN_FILENO);
    close(lowest);
    const rlimit few{static_cast<rlim_t>(lowest) + 3, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    EXPECT_THROW(watch.watch(other), std::system_error);
    watch.watch(identity);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(ended, std::vector<ProcessIdentity>{identity});
}

TEST_F(WatchedProcesses, AreNotTakenForLaterOnesOfTheSameId)
{
    const auto process = child();
    auto earlier = ProcessIdentity::of(process->pid());
    --earlier.startTime;
    watch.watch(earlier);
    EXPECT_EQ(ended, std::vector<ProcessIdentity>{earlier});
}

} // namespace
} // namespace healthintf::healthmgr
