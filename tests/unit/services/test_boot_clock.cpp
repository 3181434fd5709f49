// SPDX-License-Identifier: Apache-2.0
#include "boot_clock.hpp"
#include "file_content.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;
using testing::MatchesRegex;

class BootClock : public testing::Test
{
  protected:
    test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "made" / "boot";
};

TEST_F(BootClock, NamesTheBootOnce)
{
    const std::string name = systemClocks(file).boot;
    EXPECT_THAT(name, MatchesRegex("[0-9a-f]{32}"));
    EXPECT_EQ(systemClocks(file).boot, name);
}

TEST_F(BootClock, NamesTheNextBootOtherwise)
{
    const std::string name = systemClocks(file).boot;
    std::filesystem::remove_all(file.parent_path());
    EXPECT_NE(systemClocks(file).boot, name);
}

TEST_F(BootClock, NamesTheBootAnewBesideADamagedFile)
{
    std::filesystem::create_directory(file.parent_path());
    for (const char* damaged : {"", "12", "no hexadecimal digits, though long"})
    {
        folder.write("made/boot", damaged);
        const std::string name = systemClocks(file).boot;
        EXPECT_THAT(name, MatchesRegex("[0-9a-f]{32}"));
        EXPECT_EQ(test::readContent(file), name + "\n");
    }
}

TEST_F(BootClock, SaysThatTheNameCannotBeKept)
{
    folder.write("made", "no folder");
    testing::internal::CaptureStderr();
    EXPECT_THAT(systemClocks(file).boot, MatchesRegex("[0-9a-f]{32}"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("unable to write the boot's name"));
}

TEST_F(BootClock, TellsTheTimeInMicroseconds)
{
    constexpr int64_t second = 1'000'000;
    const Clocks clocks = systemClocks(file);
    const int64_t before = int64_t{time(nullptr)} * second;
    const int64_t wall = clocks.wall();
    EXPECT_GE(wall, before);
    EXPECT_LE(wall, int64_t{time(nullptr) + 1} * second);
    timespec boot{};
    clock_gettime(CLOCK_BOOTTIME, &boot);
    const int64_t sinceBoot = clocks.sinceBoot();
    EXPECT_GE(sinceBoot, int64_t{boot.tv_sec} * second);
    EXPECT_GE(clocks.sinceBoot(), sinceBoot);
}

} // namespace
} // namespace healthintf::healthmgr
