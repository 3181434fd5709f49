#include <doctor/process_probe.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

namespace healthintf::healthctl
{
namespace
{

/** No process has it. */
constexpr uint32_t nobody = 0x7FFFFFFF;

TEST(ProcessProbe, CountsTheFilesThatAProcessHasOpen)
{
    const auto self = static_cast<uint32_t>(getpid());
    const auto before = openFilesOf("test", self);
    ASSERT_TRUE(before);
    const int more = dup(0);
    const auto after = openFilesOf("test", self);
    close(more);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->open, before->open + 1);
    EXPECT_EQ(after->limit, static_cast<std::size_t>(sysconf(_SC_OPEN_MAX)));
    EXPECT_EQ(after->program, "test");
}

TEST(ProcessProbe, KnowsWhomAProcessRunsAs)
{
    EXPECT_EQ(userOf(static_cast<uint32_t>(getpid())), geteuid());
}

TEST(ProcessProbe, SaysNothingOfAProcessThatIsGone)
{
    EXPECT_FALSE(openFilesOf("test", nobody));
    EXPECT_FALSE(userOf(nobody));
}

TEST(ProcessProbe, ReadsTheLimitThatHolds)
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
