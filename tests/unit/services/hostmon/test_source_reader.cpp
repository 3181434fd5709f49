#include "source_reader.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>

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

TEST(ReaderOfASource, SaysWhyThereIsNoReading)
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

TEST(ReaderOfASource, TellsWhenAReadingHasArrived)
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
    // Its thread has told before it lets go of what it read.
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
                ADD_FAILURE() << "told after the end";
            });
        EXPECT_EQ(reader.busyFor(), std::chrono::seconds(0));
        reader.start();
        reader.start();
        EXPECT_FALSE(reader.wait(std::chrono::milliseconds(1)));
        EXPECT_GT(reader.busyFor(), std::chrono::seconds(0));
    }
    answer->set_value(1);
}

} // namespace
} // namespace healthintf::hostmon
