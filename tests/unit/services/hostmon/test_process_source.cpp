// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "process_source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace healthintf::hostmon
{
namespace
{

class Processes : public testing::Test
{
  protected:
    Processes()
    {
        folder.write("10/stat", "10 (sshd) S 1 10 10\n");
        folder.write("11/stat", "11 (sshd) R 1 11 11\n");
        folder.write("12/stat", "12 (sshd) Z 1 12 12\n");
        folder.write("13/stat", "13 (a) b (c) S 1 13 13\n");
        folder.write("14/stat", "14 (abcdefghijklmno) S 1 14 14\n");
        folder.write("15/other", "");
        folder.write("16/stat", "cut short");
        folder.write("self/stat", "17 (sshd) S 1\n");
    }

    std::size_t count(const std::string& name) const
    {
        return countProcesses(folder.path(), name);
    }

    bool lives(const std::string& pidfile) const
    {
        return PidfileProcess(folder.path(), folder.write("pidfile", pidfile))
            .isAlive();
    }

    test::TemporaryFolder folder;
};

TEST_F(Processes, AreCountedByNameWithoutZombies)
{
    EXPECT_EQ(count("sshd"), 2u);
    EXPECT_EQ(count("ssh"), 0u);
    EXPECT_EQ(count("a) b (c"), 1u);
}

TEST_F(Processes, AreCountedByEachOfSeveralNames)
{
    EXPECT_EQ(count("sshd|abcdefghijklmnopqrst"), 3u);
    EXPECT_EQ(count("missing|sshd"), 2u);
    EXPECT_EQ(count("missing|other"), 0u);
}

TEST_F(Processes, AreMatchedByTheBeginningOfALongName)
{
    EXPECT_EQ(count("abcdefghijklmnopqrst"), 1u);
    // The kernel shows more than 15 characters of its own threads' names.
    folder.write("18/stat", "18 (rcu_tasks_kthread) I 2 0 0\n");
    EXPECT_EQ(count("rcu_tasks_kthread"), 1u);
    EXPECT_EQ(count("rcu_tasks_kthre"), 1u);
}

TEST_F(Processes, AreFoundByTheIdInAFile)
{
    EXPECT_TRUE(lives("10\n"));
    EXPECT_TRUE(lives("11"));
    EXPECT_TRUE(lives("        11\n")) << "filled up with blanks";
    EXPECT_FALSE(lives("12\n")) << "a zombie";
    EXPECT_FALSE(lives("99\n"));
    EXPECT_FALSE(lives(""));
    EXPECT_FALSE(lives("x"));
    EXPECT_FALSE(lives("../10"));
    EXPECT_FALSE(lives(std::string(300, '1'))) << "no process has this id";
    EXPECT_FALSE(PidfileProcess(folder.path(), "/nonexistent").isAlive());
}

/** The stat file of a process with this start time. */
std::string makeStat(const std::string& startTime)
{
    return "10 (a b) S 1 10 10 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 " +
           startTime + " 30 40\n";
}

TEST_F(Processes, AreNotTakenForLaterOnesWithTheSameId)
{
    const std::string pidfile = folder.write("pidfile", "10\n");
    PidfileProcess process(folder.path(), pidfile);
    folder.write("10/stat", makeStat("5000"));
    EXPECT_TRUE(process.isAlive());
    std::filesystem::remove(folder.path() / "10/stat");
    EXPECT_FALSE(process.isAlive());
    folder.write("10/stat", makeStat("6000"));
    EXPECT_FALSE(process.isAlive());
    folder.write("10/stat", makeStat("5000"));
    EXPECT_TRUE(process.isAlive()) << "it was hidden in the meantime";

    folder.write("10/stat", makeStat("7000"));
    std::filesystem::rename(folder.write("new", "10\n"), pidfile);
    EXPECT_TRUE(process.isAlive()) << "the file is a new one";
    folder.write("10/stat", makeStat("8000"));
    EXPECT_FALSE(process.isAlive());
    folder.write("pidfile", "11\n");
    EXPECT_TRUE(process.isAlive()) << "the file names another one";
}

TEST_F(Processes, AreNotMissingWhenTheFileCannotBeRead)
{
    // Not even root can read a folder as a file.
    EXPECT_THROW(PidfileProcess(folder.path(), folder.path() / "10").isAlive(),
                 std::runtime_error);
}

TEST_F(Processes, AreNotMissingWhenOneOfThemCannotBeRead)
{
    // Not even root can read a folder as a file.
    std::filesystem::create_directories(folder.path() / "17" / "stat");
    EXPECT_EQ(count("sshd"), 2u);
    EXPECT_THROW(count("missing"), std::runtime_error);
    EXPECT_THROW(lives("17"), std::runtime_error);
}

TEST_F(Processes, HaveASteadyErrorTextWhileTheyComeAndGo)
{
    const auto causeOfUnreadable = [&](const std::string& id) -> std::string {
        std::filesystem::create_directories(folder.path() / id / "stat");
        try
        {
            count("missing");
        }
        catch (const std::runtime_error& e)
        {
            std::filesystem::remove_all(folder.path() / id);
            return e.what();
        }
        return "none";
    };
    const std::string cause = causeOfUnreadable("17");
    EXPECT_EQ(cause, "unable to read a process in " + folder.path().string() +
                         ": Is a directory");
    EXPECT_EQ(causeOfUnreadable("18"), cause);
}

TEST_F(Processes, CannotBeCountedWithoutTheFolder)
{
    EXPECT_THROW(countProcesses(folder.path() / "missing", "a"),
                 std::runtime_error);
}

TEST(ProcessesOfThisMachine, AreCounted)
{
    test::Child child([](const test::Child::Parent& parent) -> int {
        prctl(PR_SET_NAME, "hm-test-name");
        parent.tell("named");
        test::Child::Parent::waitForever();
    });
    child.hear();
    EXPECT_EQ(countProcesses("/proc", "hm-test-name"), 1u);
    child.kill();
    EXPECT_EQ(countProcesses("/proc", "hm-test-name"), 0u);
}

} // namespace
} // namespace healthintf::hostmon
