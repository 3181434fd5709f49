// SPDX-License-Identifier: Apache-2.0
/** @file Events that logmgr has acknowledged survive its crashes. */

#include "cache_view.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <numeric>
#include <thread>

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

/** Polls for a condition that no event announces. */
void waitFor(const std::function<bool()>& done)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done() && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::yield();
    }
}

class LogDurability : public testing::Test
{
  protected:
    fs::path file() const
    {
        return bus.folder().path() / "state" / "sel" / "data.mdb";
    }

    /** A second logmgr, which waits for the first one's lock. */
    Process waiting() const
    {
        Process second({LOGMGR});
        waitFor([&second] {
            return second.errors().find("another process has the log") !=
                   std::string::npos;
        });
        EXPECT_THAT(second.errors(), HasSubstr("another process has the log"));
        return second;
    }

    PrivateBus bus;
    LogClient client;
};

TEST_F(LogDurability, SurvivesARestart)
{
    Process running = client.start();
    client.add(makeRecord(1));
    client.add(makeRecord(2));
    const ReadEntry before = client.entry(2);
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
    client.waitUntilGone();
    const Process again = client.start();
    EXPECT_EQ(client.entry(2).record, before.record);
    EXPECT_EQ(client.entry(2).name, before.name);
    EXPECT_THAT(recordedEvents(), ElementsAre(1, 2));
    EXPECT_EQ(client.add(makeRecord(3)), 3u);
}

TEST_F(LogDurability, KeepsEventsAcknowledgedRightBeforeACrash)
{
    for (uint16_t count = 1; count <= 12; ++count)
    {
        Process running = client.start();
        EXPECT_EQ(client.add(makeRecord(static_cast<uint8_t>(count))), count);
        running.kill();
        client.waitUntilGone();
    }
    const Process again = client.start();
    Ids expected(12);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(recordedEvents(), expected);
    for (const uint16_t id : expected)
    {
        EXPECT_EQ(client.entry(id).record[11], id);
    }
}

TEST_F(LogDurability, LosesNothingWhenItIsKilledDuringAdditions)
{
    for (int round = 0; round < 5; ++round)
    {
        Process running = client.start();
        const Ids before = client.page(0, 0);
        client.heard.clear();
        constexpr int sent = 50;
        for (int i = 0; i < sent; ++i)
        {
            client.sendAddition(makeRecord(1));
        }
        const auto answers = [this] {
            return static_cast<std::size_t>(
                std::ranges::count(client.heard, "reply"));
        };
        client.waitUntil("answers", [&] {
            return answers() >= 10;
        });
        running.kill();
        client.waitUntilGone();
        const Process again = client.start();
        const Ids after = client.page(0, 0);
        EXPECT_GE(after.size(), before.size() + answers());
        EXPECT_LE(after.size(), before.size() + sent);
        EXPECT_EQ(recordedEvents().size(), after.size() - 1);
    }
}

TEST_F(LogDurability, SetsADamagedLogAsideAndStartsANewOne)
{
    {
        Process running = client.start();
        client.add(makeRecord(1));
        running.kill();
        client.waitUntilGone();
    }
    fs::resize_file(file(), 8192);
    const Process again = client.start();
    EXPECT_THAT(again.errors(), HasSubstr("is damaged: it was set aside as " +
                                          file().string() + ".damaged"));
    EXPECT_TRUE(fs::exists(file().string() + ".damaged"));
    EXPECT_THAT(recordedEvents(), testing::IsEmpty());
    EXPECT_EQ(client.add(makeRecord(1)), 1u);
}

TEST_F(LogDurability, KeepsTheMirrorWhenItIsKilled)
{
    {
        Process running = client.start();
        client.add(makeRecord(1));
        running.kill();
        client.waitUntilGone();
    }
    EXPECT_THAT(recordedEvents(), ElementsAre(1))
        << "the mirror holds the same entry";
    const Process again = client.start();
    EXPECT_THAT(recordedEvents(), ElementsAre(1));
}

TEST_F(LogDurability, KeepsARecordThatTheDataCacheCannotHold)
{
    bus.folder().write("run/sel", "no folder");
    const Process running = client.start();
    EXPECT_EQ(client.add(makeRecord(1)), 1u);
    EXPECT_THAT(running.errors(),
                HasSubstr("the data cache lacks the last change of the log"));
    fs::remove(bus.folder().path() / "run" / "sel");
    EXPECT_EQ(client.add(makeRecord(2)), 2u);
    EXPECT_THAT(recordedEvents(), ElementsAre(1, 2));
}

TEST_F(LogDurability, CompletesTheMirrorWithoutAnotherChange)
{
    bus.folder().write("run/sel", "no folder");
    const Process running = client.start();
    EXPECT_EQ(client.add(makeRecord(1)), 1u);
    fs::remove(bus.folder().path() / "run" / "sel");
    waitFor([] {
        return !recordedEvents().empty();
    });
    EXPECT_THAT(recordedEvents(), ElementsAre(1));
}

TEST_F(LogDurability, RebuildsARemovedMirrorWithoutAnotherChange)
{
    const Process running = client.start();
    client.add(makeRecord(1));
    fs::remove_all(bus.folder().path() / "run");
    waitFor([] {
        return !recordedEvents().empty();
    });
    EXPECT_THAT(recordedEvents(), ElementsAre(1));
}

TEST_F(LogDurability, LosesNothingWhenItIsStartedWithoutStandardStreams)
{
    Process running(
        {"sh", "-c", "exec " + std::string(LOGMGR) + " <&- >&- 2>&-"});
    client.waitUntilReady();
    client.add(makeRecord(1));
    // logmgr logs this, although its standard error is closed.
    fs::remove_all(bus.folder().path() / "run");
    waitFor([] {
        return !recordedEvents().empty();
    });
    running.kill();
    client.waitUntilGone();
    const Process again = client.start();
    EXPECT_THAT(recordedEvents(), ElementsAre(1));
    EXPECT_FALSE(fs::exists(file().string() + ".damaged"));
}

TEST_F(LogDurability, RewritesARemovedLogWithoutAnotherChange)
{
    Process running = client.start();
    client.add(makeRecord(1));
    fs::remove_all(file().parent_path());
    waitFor([this] {
        return fs::exists(file());
    });
    running.kill();
    client.waitUntilGone();
    const Process again = client.start();
    EXPECT_THAT(client.page(0, 0), ElementsAre(1, 65535));
}

TEST_F(LogDurability, KeepsEventsAcknowledgedAfterItsFileWasRemoved)
{
    Process running = client.start();
    client.add(makeRecord(1));
    fs::remove(file());
    EXPECT_EQ(client.add(makeRecord(2)), 2u);
    running.kill();
    client.waitUntilGone();
    const Process again = client.start();
    EXPECT_THAT(client.page(0, 0), ElementsAre(1, 2, 65535));
}

TEST_F(LogDurability, RefusesEventsBeyondAFileSizeLimit)
{
    // In blocks of 512 bytes: less than a new log's file needs.
    Process limited({"/bin/sh", "-c", "ulimit -f 128; exec \"$0\"", LOGMGR});
    client.waitUntilReady();
    EXPECT_THROW(
        {
            for (int i = 0; i < 5000; ++i)
            {
                client.add(makeRecord(1));
            }
        },
        std::exception);
    EXPECT_EQ(client.findOwner(logService).empty(), false);
    EXPECT_THAT(limited.errors(), HasSubstr("File too large"));
    limited.signal(SIGTERM);
    EXPECT_EQ(limited.wait(), 0);
}

TEST_F(LogDurability, WaitsForAnotherProcessWithTheSameLog)
{
    Process first = client.start();
    client.add(makeRecord(1));
    Process second = waiting();
    first.kill();
    client.waitUntilGone();
    client.waitUntilReady();
    EXPECT_EQ(client.add(makeRecord(2)), 2u);
    second.signal(SIGTERM);
    EXPECT_EQ(second.wait(), 0);
}

TEST_F(LogDurability, EndsOnASignalWhileItWaits)
{
    const Process first = client.start();
    Process second = waiting();
    second.signal(SIGTERM);
    EXPECT_EQ(second.wait(), 128 + SIGTERM);
}

} // namespace
} // namespace healthintf::test
