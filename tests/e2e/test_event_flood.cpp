// SPDX-License-Identifier: Apache-2.0
/** @file A component's sensors report events without end, and logmgr is killed
 *  repeatedly meanwhile. */

#include "bus_client.hpp"
#include "event_daemons.hpp"
#include "event_records.hpp"
#include "file_content.hpp"
#include "log_client.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <optional>
#include <set>

namespace healthintf::test
{
namespace
{

const std::string root = "/com/vexa/olvar/health";
const std::string key = root + "/storm";

/** SELAndFault::addSEL() returns this when the log did not take a record. */
constexpr const char* notStored = "4";

/** The private memory of a process, in KiB. */
long ownMemory(pid_t process)
{
    const std::string name = "RssAnon:";
    const std::string status =
        readContent("/proc/" + std::to_string(process) + "/status");
    return std::stol(status.substr(status.find(name) + name.size()));
}

/** Event number @p number: a temperature of some sensor rises or falls, mostly
 *  asserted again without a deassertion, and with a timestamp that stands still
 *  or runs backwards. */
Record numbered(unsigned int number)
{
    constexpr unsigned int temperature = 0x01;
    constexpr unsigned int threshold = 0x01;
    constexpr unsigned int sensors = 20;
    constexpr unsigned int offsets = 12;
    constexpr unsigned int assertedInARow = 7;
    constexpr std::size_t timestampAt = 3;
    Record record = makeRecord({.sensorType = temperature,
                                .eventType = threshold,
                                .offset = number / sensors % offsets,
                                .asserted = number % assertedInARow != 0,
                                .sensorNumber = number % sensors + 1,
                                .data2 = number % 0x100,
                                .data3 = number / 0x100});
    record[timestampAt] = static_cast<uint8_t>(UINT8_MAX - number / 3);
    return record;
}

unsigned int readNumber(const Bytes& record)
{
    constexpr std::size_t data2At = 14;
    return record.at(data2At) | record.at(data2At + 1) << 8;
}

std::string makeLine(const Record& record)
{
    constexpr std::size_t sensorNumberAt = 11;
    return "/sensors/temperature" + std::to_string(record[sensorNumberAt]) +
           " " + formatDigits(record);
}

class EventFlood : public testing::Test
{
  protected:
    /** Starts all programs, logmgr with this configuration. */
    void start(const std::string& logConfig)
    {
        services.emplace(logConfig);
        client.emplace();
        daemon.emplace(
            std::vector<std::string>{compiledExample("sensor_events"), key});
        EXPECT_EQ(daemon->hear(), "ready");
        daemonName = findConnection(daemon->pid());
    }

    pid_t logmgr() const
    {
        const MessagePtr reply =
            client->call("org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                         "GetConnectionUnixProcessID", "s", logService);
        uint32_t pid = 0;
        sd_bus_message_read(reply.get(), "u", &pid);
        return static_cast<pid_t>(pid);
    }

    /** Evaluates the status of an event, which tells whether the log is sure to
     *  have it. */
    void takeStatus(unsigned int number, const std::string& status)
    {
        if (status == "0")
        {
            acknowledged.insert(number);
        }
        else
        {
            EXPECT_EQ(status, notStored) << daemon->errors();
            ++refusals;
        }
    }

    /** The numbers of the events in the log, in order. */
    static std::vector<unsigned int> logged()
    {
        const LogClient reader;
        std::vector<unsigned int> numbers;
        constexpr uint16_t first = 0;
        constexpr uint16_t none = 65535;
        for (uint16_t next = first; next != none;)
        {
            const ReadEntry entry = reader.entry(next);
            numbers.push_back(readNumber(entry.record));
            next = entry.next;
        }
        return numbers;
    }

    std::size_t faults() const
    {
        std::size_t count = 0;
        for (const auto& [path, interfaces] : client->objects(daemonName))
        {
            count += path.find("/entry/") != std::string::npos ? 1 : 0;
        }
        return count;
    }

    std::optional<ServiceBus> services;
    std::optional<BusClient> client;
    std::optional<Process> daemon;
    std::string daemonName;
    std::set<unsigned int> acknowledged;
    unsigned int refusals = 0;
};

TEST_F(EventFlood, LeavesTenFaultsAndLosesNoAcknowledgedRecord)
{
    constexpr unsigned int events = 10'000;
    constexpr unsigned int calmAfter = 5'000;
    constexpr unsigned int steadyAfter = 7'000;
    constexpr unsigned int kills = 10;
    constexpr unsigned int looks = 100;
    constexpr long memoryOfChance = 256;

    start("capacity = 20000\n");
    long ofDaemon = 0;
    long ofLog = 0;
    for (unsigned int number = 0; number < events; ++number)
    {
        if (number < calmAfter && number % (calmAfter / kills) == looks)
        {
            // The daemon is about to call logmgr, waits for its answer, or has
            // it.
            const pid_t victim = logmgr();
            daemon->tell(makeLine(numbered(number)));
            ::kill(victim, SIGKILL);
            takeStatus(number, daemon->hear());
        }
        else
        {
            takeStatus(number, daemon->ask(makeLine(numbered(number))));
        }
        if (number % looks == 0)
        {
            EXPECT_LE(faults(), 10u);
        }
        if (number == steadyAfter)
        {
            ofDaemon = ownMemory(daemon->pid());
            ofLog = ownMemory(logmgr());
        }
    }
    EXPECT_EQ(faults(), 10u);
    const long daemonGrowth = ownMemory(daemon->pid()) - ofDaemon;
    const long logGrowth = ownMemory(logmgr()) - ofLog;
    EXPECT_LE(daemonGrowth, memoryOfChance);
    EXPECT_LE(logGrowth, memoryOfChance);
    EXPECT_LE(refusals, kills);

    const std::vector<unsigned int> log = logged();
    const std::set<unsigned int> stored(log.begin(), log.end());
    EXPECT_EQ(stored.size(), log.size()) << "no event is stored twice";
    EXPECT_TRUE(std::ranges::is_sorted(log));
    EXPECT_TRUE(std::ranges::includes(stored, acknowledged));
    EXPECT_LE(stored.size(), acknowledged.size() + refusals);
    std::printf("%zu acknowledged, %u refused, %zu stored; the daemon grew by "
                "%ld KiB to %ld, the log manager by %ld KiB to %ld\n",
                acknowledged.size(), refusals, stored.size(), daemonGrowth,
                daemonGrowth + ofDaemon, logGrowth, logGrowth + ofLog);
}

TEST_F(EventFlood, IsRefusedByAFullLogWithAReason)
{
    constexpr unsigned int capacity = 100;
    constexpr unsigned int events = 150;

    start("capacity = 100\noverflow = \"refuse\"\n");
    for (unsigned int number = 0; number < events; ++number)
    {
        takeStatus(number, daemon->ask(makeLine(numbered(number))));
    }
    EXPECT_EQ(acknowledged.size(), capacity);
    EXPECT_EQ(refusals, events - capacity);
    EXPECT_EQ(logged().size(), capacity);
    EXPECT_THAT(daemon->errors(), testing::HasSubstr("full"));
}

} // namespace
} // namespace healthintf::test
