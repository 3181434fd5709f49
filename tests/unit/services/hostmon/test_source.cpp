// SPDX-License-Identifier: Apache-2.0
#include "source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace healthintf::hostmon
{
namespace
{

class Sources : public testing::Test
{
  protected:
    Source only(const Subject& subject) const
    {
        auto sources = makeSources(subject, folder.path());
        EXPECT_EQ(sources.size(), 1u);
        return sources.at(0);
    }

    test::TemporaryFolder folder;
};

TEST_F(Sources, ReadBelowTheirRoot)
{
    folder.write("proc/meminfo", "MemTotal: 100 kB\nMemAvailable: 30 kB\n");
    folder.write("proc/loadavg", "0.00 0.00 0.00 1/1 1\n");
    folder.write("proc/pressure/cpu", "some avg10=7.00 avg60=8.00\n");
    folder.write("proc/5/stat", "5 (sshd) S 1\n");
    EXPECT_EQ(only(Memory{}).read(), 30);
    EXPECT_EQ(only(Load{5}).read(), 0);
    EXPECT_EQ(only(Pressure{"cpu", 10}).read(), 7);
    EXPECT_EQ(only(ProcessAlive{"sshd", ""}).read(), 1);
    EXPECT_EQ(only(ProcessAlive{"other", ""}).read(), 0);
    const auto pidfile = folder.write("run/sshd.pid", "5\n");
    EXPECT_EQ(only(ProcessAlive{"", pidfile}).read(), 1);
    EXPECT_GT(only(Filesystem{"/"}).read(), 0);
}

TEST_F(Sources, HaveReadableNames)
{
    EXPECT_EQ(only(Filesystem{"/var"}).name, "/var");
    EXPECT_EQ(only(Memory{}).name, "memory");
    EXPECT_EQ(only(Load{15}).name, "15 min");
    EXPECT_EQ(only(Pressure{"io", 60}).name, "io");
    EXPECT_EQ(only(ProcessAlive{"sshd", ""}).name, "sshd");
    EXPECT_EQ(only(ProcessAlive{"", "/run/x.pid"}).name, "/run/x.pid");
}

TEST_F(Sources, AreAsManyAsThereAreTemperatures)
{
    EXPECT_TRUE(makeSources(Temperature{"*"}, folder.path()).empty());
    folder.write("sys/class/hwmon/hwmon0/name", "chip\n");
    folder.write("sys/class/hwmon/hwmon0/temp1_input", "40000\n");
    folder.write("sys/class/hwmon/hwmon0/temp2_input", "50000\n");
    EXPECT_EQ(makeSources(Temperature{"*"}, folder.path()).size(), 2u);
    EXPECT_EQ(only(Temperature{"chip/temp2"}).read(), 50);
    EXPECT_TRUE(makeSources(Temperature{"chip/temp3"}, folder.path()).empty());
}

TEST_F(Sources, ThrowWhenTheyCannotRead)
{
    EXPECT_THROW(only(Memory{}).read(), std::runtime_error);
    EXPECT_THROW(only(Pressure{"io", 10}).read(), std::runtime_error);
    EXPECT_THROW(only(Filesystem{"/nonexistent"}).read(), std::runtime_error);
}

/** Kills all child processes of this process and waits for them. */
void killChildren()
{
    for (const auto& thread : std::filesystem::directory_iterator(
             "/proc/" + std::to_string(getpid()) + "/task"))
    {
        std::ifstream children(thread.path() / "children");
        for (pid_t child = 0; children >> child;)
        {
            kill(child, SIGKILL);
            siginfo_t ended{};
            ASSERT_EQ(waitid(P_PID, child, &ended, WEXITED | WNOWAIT), 0);
        }
    }
}

TEST_F(Sources, RememberThePidfilesProcessWhenTheirReaderEnds)
{
    const auto writeStart = [&](const std::string& startTime) {
        folder.write(
            "proc/5/stat",
            "5 (sshd) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 " +
                startTime + "\n");
    };
    writeStart("5000");
    const Source source =
        only(ProcessAlive{"", folder.write("run/sshd.pid", "5\n")});
    EXPECT_EQ(source.read(), 1);
    killChildren();
    EXPECT_EQ(source.read(), 1);

    writeStart("6000");
    killChildren();
    EXPECT_EQ(source.read(), 0) << "another process has the process id now";
}

TEST(SourcesOfThisMachine, ReadWithoutARoot)
{
    EXPECT_GT(makeSources(Memory{}, "").at(0).read(), 0);
}

} // namespace
} // namespace healthintf::hostmon
