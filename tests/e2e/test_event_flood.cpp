/** @file A component whose sensors will not stop, and a log manager that is
 *  killed again and again meanwhile. */

#include "bus_client.hpp"
#include "event_daemons.hpp"
#include "event_records.hpp"
#include "file_content.hpp"

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

constexpr const char* logService = "com.vexa.olvar.logmgr";
constexpr const char* logPath = "/com/vexa/olvar/logmgr/SEL";
constexpr const char* logInterface = "com.vexa.olvar.logmgr.SEL";

/** What SELAndFault::addSEL() answers when the log did not take a record. */
constexpr const char* notStored = "4";

/** The memory that a process has to itself, in KiB. */
long ownMemory(pid_t process)
{
    const std::string name = "RssAnon:";
    const std::string status =
        contentOf("/proc/" + std::to_string(process) + "/status");
    return std::stol(status.substr(status.find(name) + name.size()));
}

/** The event of a number: some sensor's, of a temperature that rises or
 *  falls, mostly asserted though it is asserted already, at a time that stands
 *  still or runs backwards. */
Event numbered(unsigned int number)
{
    constexpr uint8_t temperature = 0x01;
    constexpr uint8_t threshold = 0x01;
    constexpr unsigned int sensors = 20;
    constexpr unsigned int offsets = 12;
    constexpr unsigned int assertedInARow = 7;
    constexpr uint32_t start = 1'700'000'000;
    return {.sensorType = temperature,
            .sensorNumber = static_cast<uint8_t>(number % sensors + 1),
            .eventType = threshold,
            .offset = static_cast<uint8_t>(number / sensors % offsets),
            .deasserted = number % assertedInARow == 0,
            .data = static_cast<uint16_t>(number),
            .timestamp = start - number / 3};
}

std::string lineOf(const Event& event)
{
    return "/sensors/temperature" + std::to_string(event.sensorNumber) + " " +
           event.digits();
}

class EventFlood : public testing::Test
{
  protected:
    /** Starts everything with a configuration of the log manager. */
    void start(const std::string& logConfig)
    {
        services.emplace(logConfig);
        client.emplace();
        daemon.emplace(
            std::vector<std::string>{compiledExample("sensor_events"), key});
        EXPECT_EQ(daemon->hear(), "ready");
        daemonName = connectionOf(daemon->pid());
    }

    pid_t logManager() const
    {
        const MessagePtr reply =
            client->call("org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                         "GetConnectionUnixProcessID", "s", logService);
        uint32_t pid = 0;
        sd_bus_message_read(reply.get(), "u", &pid);
        return static_cast<pid_t>(pid);
    }

    /** Takes the answer to an event, which tells whether the log has it for
     *  sure. */
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

    /** The numbers of the events in the log, in its order. */
    std::vector<unsigned int> logged() const
    {
        std::vector<unsigned int> numbers;
        for (uint16_t next = 0; next != UINT16_MAX;)
        {
            const MessagePtr reply =
                client->call(logService, logPath, logInterface, "ListEntries",
                             "qu", next, 1000U);
            sd_bus_message_enter_container(reply.get(), 'a', "(qu(ssyy)ay)");
            while (sd_bus_message_enter_container(reply.get(), 'r',
                                                  "qu(ssyy)ay") > 0)
            {
                const void* record = nullptr;
                std::size_t size = 0;
                sd_bus_message_skip(reply.get(), "qu(ssyy)");
                sd_bus_message_read_array(reply.get(), 'y', &record, &size);
                const auto* bytes = static_cast<const uint8_t*>(record);
                numbers.push_back(bytes[14] | bytes[15] << 8);
                sd_bus_message_exit_container(reply.get());
            }
            sd_bus_message_exit_container(reply.get());
            sd_bus_message_read(reply.get(), "q", &next);
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
            // The daemon is about to call it, is waiting for it, or has its
            // answer.
            const pid_t victim = logManager();
            daemon->tell(lineOf(numbered(number)));
            ::kill(victim, SIGKILL);
            takeStatus(number, daemon->hear());
        }
        else
        {
            takeStatus(number, daemon->ask(lineOf(numbered(number))));
        }
        if (number % looks == 0)
        {
            EXPECT_LE(faults(), 10u);
        }
        if (number == steadyAfter)
        {
            ofDaemon = ownMemory(daemon->pid());
            ofLog = ownMemory(logManager());
        }
    }
    EXPECT_EQ(faults(), 10u);
    const long daemonGrowth = ownMemory(daemon->pid()) - ofDaemon;
    const long logGrowth = ownMemory(logManager()) - ofLog;
    EXPECT_LE(daemonGrowth, memoryOfChance);
    EXPECT_LE(logGrowth, memoryOfChance);
    EXPECT_LE(refusals, kills);

    const std::vector<unsigned int> log = logged();
    const std::set<unsigned int> stored(log.begin(), log.end());
    EXPECT_EQ(stored.size(), log.size()) << "none is there twice";
    EXPECT_TRUE(std::ranges::is_sorted(log));
    EXPECT_TRUE(std::ranges::includes(stored, acknowledged));
    EXPECT_LE(stored.size(), acknowledged.size() + refusals);
    std::printf("%zu acknowledged, %u refused, %zu stored; the daemon grew by "
                "%ld KiB to %ld, the log manager by %ld KiB to %ld\n",
                acknowledged.size(), refusals, stored.size(), daemonGrowth,
                daemonGrowth + ofDaemon, logGrowth, logGrowth + ofLog);
}

TEST_F(EventFlood, IsToldWhyAFullLogRefusesIt)
{
    constexpr unsigned int capacity = 100;
    constexpr unsigned int events = 150;

    start("capacity = 100\noverflow = \"refuse\"\n");
    for (unsigned int number = 0; number < events; ++number)
    {
        takeStatus(number, daemon->ask(lineOf(numbered(number))));
    }
    EXPECT_EQ(acknowledged.size(), capacity);
    EXPECT_EQ(refusals, events - capacity);
    EXPECT_EQ(logged().size(), capacity);
    EXPECT_THAT(daemon->errors(), testing::HasSubstr("full"));
}

} // namespace
} // namespace healthintf::test
