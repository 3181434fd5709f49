// SPDX-License-Identifier: Apache-2.0
/** @file logmgr while many connections request lists without pause. */

#include "address_sanitizer.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace healthintf::test
{
namespace
{

using namespace std::chrono_literals;
using std::chrono::steady_clock;
constexpr const char* limitsExceeded =
    "org.freedesktop.DBus.Error.LimitsExceeded";

/** A connection that requests lists and counts the replies. */
class Asker
{
  public:
    Asker()
    {
        sd_bus* opened = nullptr;
        sd_bus_open(&opened);
        bus.reset(opened);
    }

    sd_bus* get() const
    {
        return bus.get();
    }

    void ask()
    {
        sd_bus_call_method_async(bus.get(), nullptr, logService, logPath,
                                 logInterface, "ListEntries", count, this, "qu",
                                 0, 0);
        ++asked;
    }

    /** Adds a record; listsBeforeAddition counts the lists that arrive before
     *  its reply. */
    void add(const MessagePtr& addition)
    {
        sd_bus_call_async(bus.get(), nullptr, addition.get(), takeAddition,
                          this, 0);
    }

    /** Processes all messages that have arrived. */
    void read() const
    {
        while (sd_bus_process(bus.get(), nullptr) > 0)
        {}
    }

    /** Processes replies until every call has one. */
    void readAll() const
    {
        const auto end = steady_clock::now() + patience;
        while (answers() < asked && steady_clock::now() < end)
        {
            read();
            sd_bus_wait(bus.get(), 100'000);
        }
    }

    /** Waits until the bus has delivered all calls sent so far. */
    void waitForBus() const
    {
        sd_bus_call_method(bus.get(), "org.freedesktop.DBus",
                           "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "GetId", nullptr, nullptr, "");
    }

    std::size_t asked = 0;
    std::size_t lists = 0;
    std::size_t listsBeforeAddition = 0;
    /** The number of error replies by error name. */
    std::map<std::string, std::size_t> errors;

    std::size_t answers() const
    {
        std::size_t all = lists;
        for (const auto& [name, times] : errors)
        {
            all += times;
        }
        return all;
    }

  private:
    static int takeAddition(sd_bus_message* /*reply*/, void* context,
                            sd_bus_error* /*error*/)
    {
        auto* self = static_cast<Asker*>(context);
        self->listsBeforeAddition = self->lists;
        return 0;
    }

    static int count(sd_bus_message* reply, void* context,
                     sd_bus_error* /*error*/)
    {
        auto* self = static_cast<Asker*>(context);
        if (const sd_bus_error* error = sd_bus_message_get_error(reply))
        {
            ++self->errors[error->name];
        }
        else
        {
            ++self->lists;
        }
        return 0;
    }

    std::unique_ptr<sd_bus, Unref> bus;
};

/** Many connections of one thread that request lists as fast as the bus allows.
 */
class Flood
{
  public:
    Flood() :
        thread([this] {
            run();
        })
    {}

    ~Flood()
    {
        ending = true;
        thread.join();
    }

    std::atomic<std::size_t> lists{0};
    std::atomic<std::size_t> refused{0};

  private:
    static constexpr std::size_t connections = 200;
    static constexpr int callsAtOnce = 8;
    /** The bus allows 128 unanswered calls for each connection, and becomes
     *  slower the more there are. */
    static constexpr std::size_t callsInAll = 32;

    void run()
    {
        std::vector<Asker> askers(connections);
        while (!ending)
        {
            std::size_t got = 0;
            std::size_t no = 0;
            for (Asker& each : askers)
            {
                for (int i = 0; i < callsAtOnce &&
                                each.asked < each.answers() + callsInAll;
                     ++i)
                {
                    each.ask();
                }
                each.read();
                got += each.lists;
                no += each.errors[limitsExceeded];
            }
            lists = got;
            refused = no;
        }
    }

    std::atomic<bool> ending{false};
    std::thread thread;
};

/** Puts temporary folders into memory: the test must not measure the disk. */
struct FoldersInMemory
{
    FoldersInMemory()
    {
        if (std::filesystem::is_directory("/dev/shm"))
        {
            setenv("TMPDIR", "/dev/shm", 1);
        }
    }
};

class LogFlood : public testing::Test
{
  protected:
    void fill(std::size_t entries)
    {
        for (std::size_t i = 0; i < entries; ++i)
        {
            client.add(makeRecord(7));
        }
        client.catchUp();
    }

    FoldersInMemory folders;
    PrivateBus bus;
    LogClient client;
};

TEST_F(LogFlood, DelaysNoAdditionAndTakesNoMemory)
{
    if (isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer keeps memory that was freed";
    }
    const Process running = client.start();
    fill(1000);
    const std::size_t before = running.peakMemory();
    Flood flood;
    client.waitUntil("flood", [this, &flood] {
        client.catchUp();
        return flood.lists > 0;
    });
    steady_clock::duration longest{};
    for (int i = 0; i < 100; ++i)
    {
        const auto start = steady_clock::now();
        client.add(makeRecord(8));
        longest = std::max(longest, steady_clock::now() - start);
    }
    EXPECT_LT(longest, 1s);
    EXPECT_GT(flood.refused, 0U);
    EXPECT_LT(running.peakMemory(), before + 24);
}

TEST_F(LogFlood, AnswersFourListsOfASenderAndSixteenOfAUser)
{
    const Process running = client.start();
    std::vector<Asker> askers(5);
    for (Asker& each : askers)
    {
        each.ask();
        each.readAll();
        ASSERT_EQ(each.lists, 1U);
    }
    running.signal(SIGSTOP);
    for (Asker& each : askers)
    {
        const std::size_t calls = &each == &askers.front() ? 5 : 4;
        for (std::size_t i = 0; i < calls; ++i)
        {
            each.ask();
        }
        each.waitForBus();
    }
    // dbus-broker may write to logmgr after it has answered the caller.
    askers.front().waitForBus();
    running.signal(SIGCONT);
    for (std::size_t i = 0; i < askers.size(); ++i)
    {
        Asker& each = askers[i];
        each.readAll();
        const bool tooManyForUser = i == 4;
        EXPECT_EQ(each.lists, tooManyForUser ? 1U : 5U) << i;
        EXPECT_EQ(each.errors[limitsExceeded], i == 0           ? 1U
                                               : tooManyForUser ? 4U
                                                                : 0U)
            << i;
    }
}

TEST_F(LogFlood, AnswersAdditionsBeforeEarlierListRequests)
{
    const Process running = client.start();
    Asker asker;
    asker.ask();
    asker.readAll();
    running.signal(SIGSTOP);
    for (int i = 0; i < 4; ++i)
    {
        asker.ask();
    }
    asker.add(client.addition(makeRecord(7)));
    asker.waitForBus();
    running.signal(SIGCONT);
    asker.readAll();
    EXPECT_EQ(asker.lists, 5U);
    EXPECT_EQ(asker.listsBeforeAddition, 1U);
}

} // namespace
} // namespace healthintf::test
