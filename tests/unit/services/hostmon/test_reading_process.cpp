// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "no_more_descriptors.hpp"
#include "process.hpp"
#include "reading_process.hpp"
#include "temporary_folder.hpp"
#include "unanswering_filesystem.hpp"

#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace healthintf::hostmon
{
namespace
{

/** The id of the process that runs the reads. */
pid_t findProcess(ReadingProcess& reading)
{
    return static_cast<pid_t>(reading.read());
}

double ownNumber(std::string& /*kept*/)
{
    return getpid();
}

TEST(ReadInAnotherProcess, ReturnsTheReading)
{
    ReadingProcess reading([number = 0.5](std::string&) mutable {
        return number += 1;
    });
    EXPECT_EQ(reading.read(), 1.5);
    EXPECT_EQ(reading.read(), 2.5);
}

TEST(ReadInAnotherProcess, ReportsTheCauseOfAMissingReading)
{
    ReadingProcess reading([](std::string&) -> double {
        throw std::runtime_error("unable to ask");
    });
    for (int i = 0; i < 2; ++i)
    {
        try
        {
            reading.read();
            ADD_FAILURE() << "there is a reading";
        }
        catch (const std::runtime_error& e)
        {
            EXPECT_STREQ(e.what(), "unable to ask");
        }
    }
}

TEST(ReadInAnotherProcess, MovesToANewProcessWhenItTakesTooLong)
{
    const test::TemporaryFolder folder;
    const auto tried = folder.path() / "tried";
    ReadingProcess reading(
        [&](std::string&) -> double {
            if (!exists(tried))
            {
                folder.write("tried", "");
                pause();
            }
            return 2;
        },
        std::chrono::milliseconds(200));
    EXPECT_EQ(reading.read(), 2);
}

TEST(ReadInAnotherProcess, CutsACauseThatIsTooLong)
{
    ReadingProcess reading([](std::string&) -> double {
        throw std::runtime_error(std::string(20000, 'x'));
    });
    try
    {
        reading.read();
        ADD_FAILURE() << "there is a reading";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_EQ(std::string(e.what()), std::string(16383, 'x'));
    }
}

TEST(ReadInAnotherProcess, AlwaysUsesTheSameProcess)
{
    ReadingProcess reading(ownNumber);
    const pid_t process = findProcess(reading);
    EXPECT_NE(process, getpid());
    EXPECT_EQ(findProcess(reading), process);
}

TEST(ReadInAnotherProcess, InheritsNoOpenFiles)
{
    ReadingProcess reading([](std::string&) {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return static_cast<double>(std::distance(begin(all), end(all)));
    });
    // Open are standard input, output and error, the socket to the parent, and
    // the folder that is listed.
    EXPECT_EQ(reading.read(), 5);
}

TEST(ReadInAnotherProcess, ContinuesInANewProcessWhenTheOldOneEnded)
{
    ReadingProcess reading(ownNumber);
    const pid_t first = findProcess(reading);
    kill(first, SIGKILL);
    ASSERT_TRUE(test::endsInTime(first));
    EXPECT_NE(findProcess(reading), first);
}

TEST(ReadInAnotherProcess, PassesItsStateToANewProcess)
{
    ReadingProcess reading([](std::string& kept) {
        kept += 'x';
        return kept.size() < 3 ? getpid() : static_cast<double>(kept.size());
    });
    findProcess(reading);
    kill(findProcess(reading), SIGKILL);
    EXPECT_EQ(reading.read(), 3);
}

TEST(ReadInAnotherProcess, DropsItsStateWhenItFails)
{
    ReadingProcess reading([](std::string& kept) {
        if (kept.empty())
        {
            kept = "failed";
            throw std::runtime_error("unable to ask");
        }
        return 1.0;
    });
    EXPECT_THROW(reading.read(), std::runtime_error);
    EXPECT_THROW(reading.read(), std::runtime_error);
}

TEST(ReadInAnotherProcess, FailsWhenEachProcessEnds)
{
    ReadingProcess reading([](std::string&) -> double {
        _exit(1);
    });
    EXPECT_THROW(reading.read(), std::runtime_error);
}

TEST(ReadInAnotherProcess, LeavesNoZombie)
{
    pid_t killed = -1;
    pid_t used = -1;
    {
        ReadingProcess reading(ownNumber);
        killed = findProcess(reading);
        kill(killed, SIGKILL);
        used = findProcess(reading);
    }
    for (const pid_t each : {killed, used})
    {
        EXPECT_EQ(waitpid(each, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }
}

TEST(ReadInAnotherProcess, EndsWithoutWaitingForAProcessThatHangs)
{
    const test::TemporaryFolder folder;
    const auto place = folder.path() / "mounted";
    const auto tried = folder.path() / "tried";
    create_directory(place);
    std::optional<test::UnansweringFilesystem> mounted;
    try
    {
        mounted.emplace(place);
    }
    catch (const std::system_error& e)
    {
        GTEST_SKIP() << "no filesystem in user space: " << e.what();
    }
    struct statvfs status
    {};
    ASSERT_EQ(statvfs(place.c_str(), &status), 0);
    mounted->hang();
    auto reading = std::make_unique<ReadingProcess>(
        [&](std::string&) -> double {
            if (!exists(tried))
            {
                folder.write("tried", "");
                statvfs(place.c_str(), &status);
            }
            return 2;
        },
        std::chrono::milliseconds(500));
    ASSERT_EQ(reading->read(), 2);

    auto ended = std::async(std::launch::async, [&] {
        reading.reset();
    });
    EXPECT_EQ(ended.wait_for(std::chrono::seconds(10)),
              std::future_status::ready);
    mounted->endServer();
}

/** What becomes of another process while there can be no process in place of
 *  one that hangs.
 *
 *  @param[in] hang makes the filesystem at @p place hang */
std::string tryWithoutDescriptors(const std::filesystem::path& place,
                                  const std::function<void()>& hang)
{
    const test::Child other([](const test::Child::Parent&) -> int {
        test::Child::Parent::waitForever();
    });
    ReadingProcess reading(
        [&place, first = true](std::string&) mutable -> double {
            struct statvfs status
            {};
            return std::exchange(first, false)
                       ? 2
                       : statvfs(place.c_str(), &status);
        },
        std::chrono::milliseconds(500));
    reading.read();
    hang();
    std::string result;
    try
    {
        const test::NoMoreDescriptors none(1);
        reading.read();
        result = "there is a reading; ";
    }
    catch (const std::system_error&)
    {}
    reading.read();
    return result + (waitpid(other.pid(), nullptr, WNOHANG) == 0 ? "it lives"
                                                                 : "it ended");
}

TEST(ReadInAnotherProcess, KillsNoOtherWhenNoneCanReplaceOneThatHangs)
{
    const test::TemporaryFolder folder;
    std::optional<test::UnansweringFilesystem> mounted;
    try
    {
        mounted.emplace(folder.path());
    }
    catch (const std::system_error& e)
    {
        GTEST_SKIP() << "no filesystem in user space: " << e.what();
    }
    struct statvfs status
    {};
    ASSERT_EQ(statvfs(folder.path().c_str(), &status), 0);
    // What kills too many processes finds only these in a namespace.
    test::Child owner([&](const test::Child::Parent& parent) {
        if (unshare(CLONE_NEWPID) != 0)
        {
            return 1;
        }
        const pid_t first = fork();
        if (first == 0)
        {
            parent.tell(tryWithoutDescriptors(folder.path(), [&] {
                mounted->hang();
            }));
            _exit(0);
        }
        waitpid(first, nullptr, 0);
        return 0;
    });
    EXPECT_EQ(owner.hear(), "it lives");
    mounted->endServer();
    EXPECT_EQ(owner.wait(), 0);
}

TEST(ReadInAnotherProcess, EndsWithItsOwnerEvenWhenItHangs)
{
    test::Child owner([](const test::Child::Parent& parent) {
        ReadingProcess reading([first = true](std::string& kept) mutable {
            if (!std::exchange(first, false))
            {
                test::Child::Parent::waitForever();
            }
            return ownNumber(kept);
        });
        parent.tell(std::to_string(findProcess(reading)));
        reading.read();
        return 0;
    });
    const pid_t process = std::stoi(owner.hear());
    owner.kill();
    EXPECT_TRUE(test::endsInTime(process));
}

} // namespace
} // namespace healthintf::hostmon
