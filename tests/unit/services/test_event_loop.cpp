// SPDX-License-Identifier: Apache-2.0
#include "common/event_loop.hpp"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace healthintf::services
{
namespace
{

using std::chrono::microseconds;

TEST(EventLoopOfAThread, EndsWithTheCodeOfItsExit)
{
    EventLoop loop;
    auto source = loop.onRequest([&loop] {
        loop.exit(7);
    });
    EventLoop::request(source);
    EXPECT_EQ(loop.run(), 7);
}

TEST(EventLoopOfAThread, EndsOnASignal)
{
    EventLoop loop;
    loop.exitOn({SIGUSR1});
    raise(SIGUSR1);
    EXPECT_EQ(loop.run(), 0);
}

TEST(EventLoopOfAThread, CallsForReadableDescriptors)
{
    EventLoop loop;
    const int fd = eventfd(1, EFD_CLOEXEC);
    auto source = loop.onReadable(fd, [&loop] {
        loop.exit(1);
    });
    EXPECT_EQ(loop.run(), 1);
    close(fd);
}

TEST(EventLoopOfAThread, CallsForWritableDescriptorsAfterAllElse)
{
    EventLoop loop;
    const int writable = eventfd(0, EFD_CLOEXEC);
    const int readable = eventfd(3, EFD_CLOEXEC | EFD_SEMAPHORE);
    std::string order;
    auto last = loop.onWritable(writable, [&] {
        order += 'w';
        if (order.ends_with("ww"))
        {
            loop.exit(0);
        }
    });
    auto first = loop.onReadable(readable, [&] {
        eventfd_t one = 0;
        eventfd_read(readable, &one);
        order += 'r';
    });
    loop.run();
    EXPECT_EQ(order, "rrrww");
    close(writable);
    close(readable);
}

TEST(EventLoopOfAThread, CallsWhoYieldsWhenNothingElseWaits)
{
    EventLoop loop;
    std::string order;
    auto last = loop.onRequest([&] {
        order += 'l';
        loop.exit(0);
    });
    EventLoop::yield(last);
    auto first = loop.onRequest([&] {
        order += 'f';
    });
    EventLoop::request(last);
    EventLoop::request(first);
    loop.run();
    EXPECT_EQ(order, "fl");
}

TEST(EventLoopOfAThread, CallsOnceForAnyNumberOfRequests)
{
    EventLoop loop;
    int calls = 0;
    auto counted = loop.onRequest([&] {
        ++calls;
    });
    EventLoop::request(counted);
    EventLoop::request(counted);
    int rounds = 0;
    auto ending = loop.every(microseconds(1), [&] {
        if (++rounds == 5)
        {
            loop.exit(0);
        }
    });
    loop.run();
    EXPECT_EQ(calls, 1);
}

TEST(EventLoopOfAThread, CallsAgainForARequestDuringACall)
{
    EventLoop loop;
    int calls = 0;
    EventSource source;
    source = loop.onRequest([&] {
        if (++calls == 3)
        {
            loop.exit(0);
        }
        EventLoop::request(source);
    });
    EventLoop::request(source);
    loop.run();
    EXPECT_EQ(calls, 3);
}

TEST(EventLoopOfAThread, CallsAgainAndAgain)
{
    EventLoop loop;
    int calls = 0;
    auto timer = loop.every(microseconds(10), [&] {
        if (++calls == 4)
        {
            loop.exit(0);
        }
    });
    loop.run();
    EXPECT_EQ(calls, 4);
}

TEST(EventLoopOfAThread, StopsAndRestartsATimer)
{
    EventLoop loop;
    int calls = 0;
    auto timer = loop.every(microseconds(10), [&] {
        ++calls;
        loop.exit(0);
    });
    EventLoop::enable(timer, false);
    int rounds = 0;
    auto other = loop.every(microseconds(50), [&] {
        if (++rounds == 5)
        {
            EXPECT_EQ(calls, 0);
            EventLoop::enable(timer, true);
        }
    });
    loop.run();
    EXPECT_EQ(calls, 1);
    EXPECT_GE(rounds, 5);
}

TEST(EventLoopOfAThread, CallsOnceAfterADelay)
{
    EventLoop loop;
    int calls = 0;
    auto timer = loop.onceLater([&] {
        ++calls;
    });
    EventLoop::after(timer, std::chrono::hours(1));
    EventLoop::after(timer, microseconds(10));
    int rounds = 0;
    auto other = loop.every(microseconds(50), [&] {
        if (calls != 0 && ++rounds == 5)
        {
            loop.exit(0);
        }
    });
    loop.run();
    EXPECT_EQ(calls, 1);
}

TEST(EventLoopOfAThread, CallsNothingWithoutADelay)
{
    EventLoop loop;
    bool called = false;
    auto timer = loop.onceLater([&] {
        called = true;
    });
    auto ending = loop.every(microseconds(50), [&] {
        loop.exit(0);
    });
    loop.run();
    EXPECT_FALSE(called);
}

TEST(EventLoopOfAThread, ContinuesAfterAnActionThrows)
{
    EventLoop loop;
    int calls = 0;
    auto timer = loop.every(microseconds(10), [&] {
        if (++calls == 3)
        {
            loop.exit(0);
            return;
        }
        throw std::runtime_error("broken");
    });
    testing::internal::CaptureStderr();
    EXPECT_EQ(loop.run(), 0);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(calls, 3);
    EXPECT_NE(log.find("broken"), std::string::npos);
}

TEST(EventLoopOfAThread, EndsAndThrowsAnActionsException)
{
    EventLoop loop(OnException::endLoop);
    int calls = 0;
    const auto timer = loop.every(microseconds(10), [&] {
        ++calls;
        throw std::out_of_range("broken");
    });
    EXPECT_THROW(loop.run(), std::out_of_range);
    EXPECT_EQ(calls, 1);
}

TEST(EventLoopOfAThread, ThrowsExceptionsOfPerformedWorkToo)
{
    EventLoop loop(OnException::endLoop);
    loop.perform([] {
        throw std::out_of_range("broken");
    });
    EXPECT_THROW(loop.run(), std::out_of_range);
}

TEST(EventLoopOfAThread, CallsAtASignal)
{
    EventLoop loop;
    int calls = 0;
    const auto source = loop.onSignal(SIGUSR2, [&] {
        if (++calls == 2)
        {
            loop.exit(0);
            return;
        }
        raise(SIGUSR2);
    });
    raise(SIGUSR2);
    loop.run();
    EXPECT_EQ(calls, 2);
}

TEST(EventLoopOfAThread, CallsWhenThePipesReaderCloses)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    EventLoop loop;
    bool readerIsGone = false;
    const auto source = loop.onHangup(ends[1], [&] {
        EXPECT_TRUE(readerIsGone);
        loop.exit(5);
    });
    EventSource closing;
    closing = loop.every(microseconds(50), [&] {
        EventLoop::enable(closing, false);
        readerIsGone = true;
        close(ends[0]);
    });
    EXPECT_EQ(loop.run(), 5);
    close(ends[1]);
}

TEST(EventLoopOfAThread, NeverReportsAHangUpOfAFile)
{
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    EventLoop loop;
    bool called = false;
    const auto source = loop.onHangup(fileno(file), [&] {
        called = true;
    });
    const auto ending = loop.every(microseconds(50), [&] {
        loop.exit(0);
    });
    loop.run();
    EXPECT_FALSE(called);
    std::fclose(file);
}

TEST(EventLoopOfAThread, CallsNothingForADestroyedSource)
{
    EventLoop loop;
    bool called = false;
    {
        auto gone = loop.onRequest([&] {
            called = true;
        });
        EventLoop::request(gone);
    }
    auto ending = loop.onRequest([&loop] {
        loop.exit(0);
    });
    EventLoop::request(ending);
    loop.run();
    EXPECT_FALSE(called);
}

} // namespace
} // namespace healthintf::services
