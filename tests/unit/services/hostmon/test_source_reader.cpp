// SPDX-License-Identifier: Apache-2.0
#include "source_reader.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace healthintf::hostmon
{
namespace
{

constexpr std::chrono::seconds patience(20);

TEST(ReaderOfASource, GivesEachReadingOnce)
{
    SourceReader reader(
        [number = 0.0]() mutable {
            return ++number;
        },
        [] {});
    EXPECT_FALSE(reader.take());
    reader.start();
    EXPECT_EQ(reader.wait(patience).value().value, 1);
    EXPECT_FALSE(reader.take());
    reader.start();
    EXPECT_EQ(reader.wait(patience).value().value, 2);
}

TEST(ReaderOfASource, ReportsTheCauseOfAMissingReading)
{
    SourceReader reader(
        []() -> double {
            throw std::runtime_error("unable to ask");
        },
        [] {});
    reader.start();
    const Reading reading = reader.wait(patience).value();
    EXPECT_FALSE(reading.value);
    EXPECT_EQ(reading.failure, "unable to ask");
}

TEST(ReaderOfASource, ReportsTheCauseAsATextThatIsValidInAFault)
{
    SourceReader reader(
        []() -> double {
            throw std::runtime_error("/mnt/\xFF is not mounted");
        },
        [] {});
    reader.start();
    EXPECT_EQ(reader.wait(patience).value().failure, "/mnt/? is not mounted");
}

TEST(ReaderOfASource, ReportsTheArrivalOfAReading)
{
    auto arrived = std::make_shared<std::promise<void>>();
    SourceReader reader(
        [] {
            return 1.0;
        },
        [arrived] {
            arrived->set_value();
        });
    reader.start();
    ASSERT_EQ(arrived->get_future().wait_for(patience),
              std::future_status::ready);
    // The thread announces the reading before it releases the lock.
    EXPECT_TRUE(reader.take());
}

TEST(ReaderOfASource, IsBusyAndEndsWhileTheSourceBlocks)
{
    const auto answer = std::make_shared<std::promise<double>>();
    {
        SourceReader reader(
            [answer] {
                return answer->get_future().get();
            },
            [] {
                ADD_FAILURE() << "called after the reader's end";
            });
        EXPECT_EQ(reader.busyFor(), std::chrono::seconds(0));
        reader.start();
        reader.start();
        EXPECT_FALSE(reader.wait(std::chrono::milliseconds(1)));
        EXPECT_GT(reader.busyFor(), std::chrono::seconds(0));
    }
    answer->set_value(1);
}

/** Lets abandoned threads end, also when the test fails. */
class ReadersLeftBehind : public testing::Test
{
  protected:
    ReadersLeftBehind()
    {
        // Earlier tests may have left threads.
        waitUntilLeft(0);
    }

    ~ReadersLeftBehind() override
    {
        if (!let)
        {
            letGo();
        }
    }

    void letGo()
    {
        let = true;
        answer.set_value(1);
        waitUntilLeft(0);
    }

    /** Abandons one thread. */
    void leaveOne() const
    {
        auto begun = std::make_shared<std::promise<void>>();
        SourceReader reader(
            [begun, answered = answered] {
                begun->set_value();
                return answered.get();
            },
            [] {});
        reader.start();
        begun->get_future().wait_for(patience);
    }

    /** Waits until so many threads are abandoned. */
    static void waitUntilLeft(std::size_t count)
    {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (countAbandonedThreads() != count &&
               std::chrono::steady_clock::now() < deadline)
        {
            std::this_thread::yield();
        }
        EXPECT_EQ(countAbandonedThreads(), count);
    }

    bool let = false;
    std::promise<double> answer;
    std::shared_future<double> answered{answer.get_future()};
};

TEST_F(ReadersLeftBehind, AreAtMostSixteen)
{
    for (std::size_t i = 0; i < maxAbandonedThreads; ++i)
    {
        EXPECT_EQ(countAbandonedThreads(), i);
        EXPECT_NO_THROW(leaveOne());
    }
    EXPECT_EQ(countAbandonedThreads(), maxAbandonedThreads);
    try
    {
        leaveOne();
        ADD_FAILURE() << "one more was left behind";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "the reads of 16 sources that are gone still "
                               "run, and no more threads are allowed");
    }
    letGo();
    EXPECT_NO_THROW(leaveOne());
    waitUntilLeft(0);
}

TEST_F(ReadersLeftBehind, DoNotIncludeIdleOnes)
{
    {
        SourceReader idle(
            [] {
                return 1.0;
            },
            [] {});
        idle.start();
        ASSERT_TRUE(idle.wait(patience));
    }
    EXPECT_EQ(countAbandonedThreads(), 0u);
}

} // namespace
} // namespace healthintf::hostmon
