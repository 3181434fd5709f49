// SPDX-License-Identifier: Apache-2.0
#include <doctor/process_probe.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <unistd.h>

namespace healthintf::healthctl
{
namespace
{

/** A process id that no process has. */
constexpr uint32_t nobody = 0x7FFFFFFF;

TEST(ProcessProbe, CountsTheFilesThatAProcessHasOpen)
{
    const auto self = static_cast<uint32_t>(getpid());
    const auto before = countOpenFiles("test", self);
    ASSERT_TRUE(before);
    const int more = dup(0);
    const auto after = countOpenFiles("test", self);
    close(more);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->open, before->open + 1);
    EXPECT_EQ(after->program, "test");
}

// Reads another process: valgrind shows this one a lower limit than the
// kernel's.
TEST(ProcessProbe, KnowsHowManyFilesAProcessMayOpen)
{
    rlimit limit{};
    ASSERT_EQ(prlimit(getppid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    const auto files = countOpenFiles("test", static_cast<uint32_t>(getppid()));
    ASSERT_TRUE(files);
    EXPECT_EQ(files->limit, limit.rlim_cur);
}

TEST(ProcessProbe, KnowsTheUserOfAProcess)
{
    EXPECT_EQ(readUser(static_cast<uint32_t>(getpid())), geteuid());
}

TEST(ProcessProbe, ReturnsNothingForAProcessThatIsGone)
{
    EXPECT_FALSE(countOpenFiles("test", nobody));
    EXPECT_FALSE(readUser(nobody));
}

TEST(ProcessProbe, ReadsTheSoftLimit)
{
    EXPECT_EQ(openFileLimitIn("Limit  Soft  Hard  Units\n"
                              "Max cpu time  5  6  seconds\n"
                              "Max open files  1024  4096  files\n"),
              1024);
    EXPECT_FALSE(openFileLimitIn("Max open files  unlimited  unlimited\n"));
    EXPECT_FALSE(openFileLimitIn(""));
}

} // namespace
} // namespace healthintf::healthctl
