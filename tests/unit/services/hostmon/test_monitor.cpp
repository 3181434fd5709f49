// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "monitor.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <systemd/sd-event.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace healthintf::hostmon
{
namespace
{

using namespace healthintf::test;
using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health";

/** Opens a pipe for writing, so that a reader blocked in open() continues. */
void letGo(const std::string& pipe)
{
    close(open(pipe.c_str(), O_RDWR | O_CLOEXEC));
}

/** Watches a machine whose /proc and /sys are in a folder of the test. */
class MonitorOfAMachine : public LibraryTest
{
  protected:
    MonitorOfAMachine()
    {
        for (const Subject& subject :
             {Subject(Memory{}), Subject(ProcessAlive{"", ""})})
        {
            const FaultTexts texts = selectFaultTexts(subject);
            platform().messages[texts.warningId] = {2, "%1: %2"};
            platform().messages[texts.criticalId] = {1, "%1: %2!"};
        }
        haveHealthRecord(root, 2);
        memory(90);
    }

    void memory(int percent) const
    {
        machine.write("proc/meminfo", "MemTotal: 100 kB\nMemAvailable: " +
                                          std::to_string(percent) + " kB\n");
    }

    void watch(const Subject& subject, const std::string& component)
    {
        config.watches.push_back({subject,
                                  {.direction = Direction::below,
                                   .warning = 20,
                                   .critical = 0.5,
                                   .hysteresis = 0},
                                  component});
    }

    /** Watches all temperature sensors; 97 degrees are critical. */
    void watchTemperatures()
    {
        const FaultTexts temperature = selectFaultTexts(Temperature{});
        platform().messages[temperature.criticalId] = {1, "%1: %2!"};
        config.watches.push_back({Temperature{"*"},
                                  {.direction = Direction::above,
                                   .warning = 80,
                                   .critical = 95,
                                   .hysteresis = 3},
                                  root + "/a"});
    }

    void start()
    {
        monitor.emplace(bus, loop, config, machine.path(),
                        [this](const std::string& component) {
                            return claim(component);
                        });
    }

    std::shared_ptr<void> claim(const std::string& component)
    {
        if (refusesClaims)
        {
            throw std::runtime_error("another reports on " + component);
        }
        claims.insert(component);
        return {&claims, [component](std::set<std::string>* all) {
                    all->erase(component);
                }};
    }

    /** Runs the monitor's event loop until @p done. */
    void runUntil(const std::function<bool()>& done)
    {
        constexpr int patience = 5000;
        int rounds = 0;
        const auto looking = loop.every(config.interval, [&] {
            ++rounds;
        });
        while (!done() && rounds < patience)
        {
            sd_event_run(loop.get(), UINT64_MAX);
        }
        EXPECT_TRUE(done());
    }

    /** The texts of the faults that are currently reported. */
    static Lines texts()
    {
        Lines all;
        for (const auto& [path, record] : platform().faultRecords)
        {
            all.push_back(std::get<std::string>(record.at("Message")));
        }
        return all;
    }

    TemporaryFolder machine;
    services::EventLoop loop;
    Config config{.interval = std::chrono::milliseconds(1),
                  .timeout = std::chrono::seconds(10),
                  .watches = {}};
    std::set<std::string> claims;
    bool refusesClaims = false;
    std::optional<Monitor> monitor;
};

TEST_F(MonitorOfAMachine, ChecksEveryWatchAtOnce)
{
    memory(15);
    watch(Memory{}, root + "/a");
    watch(ProcessAlive{"important", ""}, root + "/b");
    start();
    runUntil([] {
        return texts().size() == 2;
    });
    EXPECT_THAT(texts(), testing::UnorderedElementsAre("memory: 15.0",
                                                       "important: 0.0!"));
}

TEST_F(MonitorOfAMachine, ChecksAgainAtEachInterval)
{
    watch(Memory{}, root + "/a");
    start();
    memory(15);
    constexpr int patience = 5000;
    int rounds = 0;
    const auto looking = loop.every(config.interval, [&] {
        if (texts() == Lines{"memory: 15.0"})
        {
            memory(0);
        }
        if (texts() == Lines{"memory: 0.0!"} || ++rounds == patience)
        {
            loop.exit(rounds);
        }
    });
    EXPECT_LT(loop.run(), patience);
}

TEST_F(MonitorOfAMachine, HasOneComponentForEachKey)
{
    watch(Memory{}, root + "/a");
    watch(ProcessAlive{"one", ""}, root + "/b");
    watch(ProcessAlive{"two", ""}, root + "/b");
    start();
    runUntil([] {
        return texts().size() == 2;
    });
    EXPECT_EQ(journal().count("datacache_healthstatus_create"), 2u);
    EXPECT_TRUE(platform().healthRecords.contains(root + "/a"));
    EXPECT_TRUE(platform().healthRecords.contains(root + "/b"));
}

TEST_F(MonitorOfAMachine, KeepsFaultsOfChipsWithOneNameApart)
{
    for (const std::string chip : {"hwmon0", "hwmon1"})
    {
        machine.write("sys/class/hwmon/" + chip + "/name", "nvme\n");
        machine.write("sys/class/hwmon/" + chip + "/temp1_input", "97000");
    }
    watchTemperatures();
    start();
    runUntil([] {
        return texts().size() == 2u;
    });
    machine.write("sys/class/hwmon/hwmon1/temp1_input", "40000");
    runUntil([] {
        return texts().size() < 2;
    });
    EXPECT_EQ(texts(), Lines{"nvme/temp1 (hwmon0): 97.0!"});
}

TEST_F(MonitorOfAMachine, ReportsOmittedFaultsWhenThereIsRoomAgain)
{
    platform().messages["HostMonitor.1.0.MoreCriticalFaults"] = {1, "%2 more"};
    const auto sensor = [this](int number, const std::string& value) {
        machine.write("sys/class/hwmon/hwmon0/temp" + std::to_string(number) +
                          "_input",
                      value);
    };
    machine.write("sys/class/hwmon/hwmon0/name", "chip\n");
    for (int number = 11; number < 23; ++number)
    {
        sensor(number, "97000");
    }
    watchTemperatures();
    start();
    runUntil([] {
        return texts().size() == 10u;
    });
    for (int number = 13; number < 21; ++number)
    {
        sensor(number, "40000");
    }
    runUntil([] {
        return texts().size() == 4;
    });
    EXPECT_THAT(texts(),
                testing::UnorderedElementsAre("chip/temp11 (hwmon0): 97.0!",
                                              "chip/temp12 (hwmon0): 97.0!",
                                              "chip/temp21 (hwmon0): 97.0!",
                                              "chip/temp22 (hwmon0): 97.0!"));
}

TEST_F(MonitorOfAMachine, HasAComponentForEachDeviceOnRequest)
{
    for (const std::string chip : {"hwmon0", "hwmon1"})
    {
        machine.write("sys/class/hwmon/" + chip + "/name", "nvme\n");
        machine.write("sys/class/hwmon/" + chip + "/temp1_input", "40000");
    }
    watch(Temperature{"*", true}, root + "/a");
    start();
    EXPECT_TRUE(platform().healthRecords.contains(root + "/a"));
    EXPECT_TRUE(platform().healthRecords.contains(root + "/a/nvme_2fhwmon0__"));
    EXPECT_TRUE(platform().healthRecords.contains(root + "/a/nvme_2fhwmon1__"));
    EXPECT_THAT(claims, testing::ElementsAre(root + "/a/nvme_2fhwmon0__",
                                             root + "/a/nvme_2fhwmon1__"));
}

TEST_F(MonitorOfAMachine, ThrowsWhereAnotherReportsOnADevice)
{
    machine.write("sys/class/hwmon/hwmon0/name", "nvme\n");
    machine.write("sys/class/hwmon/hwmon0/temp1_input", "40000");
    watch(Temperature{"*", true}, root + "/a");
    refusesClaims = true;
    EXPECT_THROW(start(), std::runtime_error);
    EXPECT_FALSE(
        platform().healthRecords.contains(root + "/a/nvme_2fhwmon0__"));
}

TEST_F(MonitorOfAMachine, WatchesANewDeviceUnlessAnotherProgramReportsOnIt)
{
    watchTemperatures();
    std::get<Temperature>(config.watches[0].subject).eachDevice = true;
    start();
    refusesClaims = true;
    journal().take();
    machine.write("sys/class/hwmon/hwmon0/name", "nvme");
    machine.write("sys/class/hwmon/hwmon0/temp1_input", "97000");
    int rounds = 0;
    runUntil([&rounds] {
        return ++rounds > 20;
    });
    EXPECT_EQ(texts(), Lines{});
    EXPECT_THAT(journal().take("log 2 310"),
                testing::ElementsAre(HasSubstr("another reports on " + root +
                                               "/a/nvme_2fhwmon0__")));
    refusesClaims = false;
    runUntil([] {
        return texts() == Lines{"nvme/temp1 (hwmon0): 97.0!"};
    });
    std::filesystem::remove_all(machine.path() / "sys/class/hwmon/hwmon0");
    runUntil([this] {
        return claims.empty();
    });
}

TEST_F(MonitorOfAMachine, ContinuesWhileASourceBlocks)
{
    platform().messages[unreadableId] = {2, "%1: %2"};
    config.timeout = std::chrono::milliseconds(100);
    const std::string pipe = machine.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    watch(ProcessAlive{"", pipe}, root + "/a");
    watch(Memory{}, root + "/b");
    start();
    memory(15);
    runUntil([&] {
        return texts() ==
               Lines{pipe + ": no answer within 0.1 seconds", "memory: 15.0"};
    });
    memory(90);
    // Writing unblocks the reader; the text is no process id.
    std::ofstream(pipe) << "none\n";
    std::filesystem::remove(pipe);
    runUntil([&] {
        return texts() == Lines{pipe + ": 0.0!"};
    });
}

TEST_F(MonitorOfAMachine, ReportsABlockedSourceInTimeForAnyInterval)
{
    platform().messages[unreadableId] = {2, "%1: %2"};
    config.timeout = std::chrono::milliseconds(2000);
    config.interval = std::chrono::milliseconds(1500);
    const std::string pipe = machine.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    watch(ProcessAlive{"", pipe}, root + "/a");
    const auto start = std::chrono::steady_clock::now();
    this->start();
    runUntil([] {
        return !texts().empty();
    });
    // It must not wait for the next look at the source after that.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2 * config.interval);
    letGo(pipe);
}

TEST_F(MonitorOfAMachine, EndsWhileASourceBlocks)
{
    const std::string pipe = machine.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    watch(ProcessAlive{"", pipe}, root + "/a");
    start();
    monitor.reset();
    EXPECT_FALSE(platform().healthRecords.contains(root + "/a"));
    // Ends the abandoned thread if it is reading.
    letGo(pipe);
}

TEST_F(MonitorOfAMachine, LimitsTheThreadsThatItAbandons)
{
    platform().messages[unreadableId] = {2, "%1: %2"};
    config.timeout = std::chrono::milliseconds(5);
    watchTemperatures();
    start();
    const auto chip = machine.path() / "sys/class/hwmon/hwmon1";
    const std::string input = chip / "temp1_input";
    // The same sensor blocks its reader and disappears, again and again.
    std::size_t replaced = 0;
    const auto replaceSensor = [&] {
        machine.write("sys/class/hwmon/hwmon1/name", "chip");
        ASSERT_EQ(mkfifo(input.c_str(), 0600), 0);
        runUntil([] {
            return !texts().empty();
        });
        std::filesystem::rename(chip,
                                machine.path() / std::to_string(replaced++));
        runUntil([] {
            return texts().empty();
        });
    };
    // A sensor that disappears before its thread reads abandons no thread.
    constexpr std::size_t most = 10 * maxAbandonedThreads;
    while (countAbandonedThreads() < maxAbandonedThreads && replaced < most)
    {
        replaceSensor();
    }
    EXPECT_EQ(countAbandonedThreads(), maxAbandonedThreads);
    replaceSensor();
    EXPECT_EQ(countAbandonedThreads(), maxAbandonedThreads);

    machine.write("sys/class/hwmon/hwmon1/name", "chip");
    machine.write("sys/class/hwmon/hwmon1/temp1_input", "97000");
    runUntil([] {
        return texts() ==
               Lines{"chip/temp1 (hwmon1): the reads of 16 sources that are "
                     "gone still run, and no more threads are allowed"};
    });
    for (std::size_t i = 0; i < replaced; ++i)
    {
        letGo(machine.path() / std::to_string(i) / "temp1_input");
    }
    runUntil([] {
        return texts() == Lines{"chip/temp1 (hwmon1): 97.0!"};
    });
}

TEST_F(MonitorOfAMachine, FollowsDevicesThatComeAndGo)
{
    const FaultTexts temperature = selectFaultTexts(Temperature{});
    platform().messages[temperature.criticalId] = {1, "%1: %2!"};
    config.watches.push_back({Temperature{"*", true},
                              {.direction = Direction::above,
                               .warning = 80,
                               .critical = 95,
                               .hysteresis = 3},
                              root + "/a"});
    start();
    machine.write("sys/class/hwmon/hwmon1/name", "nvme");
    machine.write("sys/class/hwmon/hwmon1/temp1_input", "97000");
    runUntil([] {
        return texts() == Lines{"nvme/temp1 (hwmon1): 97.0!"};
    });
    EXPECT_TRUE(platform().healthRecords.contains(root + "/a/nvme_2fhwmon1__"));
    std::filesystem::remove_all(machine.path() / "sys/class/hwmon/hwmon1");
    runUntil([] {
        return !platform().healthRecords.contains(root + "/a/nvme_2fhwmon1__");
    });
    EXPECT_EQ(texts(), Lines{});
    EXPECT_TRUE(platform().healthRecords.contains(root + "/a"));
}

TEST_F(MonitorOfAMachine, CountsSensorNumbersFrom1To255)
{
    for (int i = 0; i < 256; ++i)
    {
        watch(ProcessAlive{"one", ""}, root + "/c" + std::to_string(i));
    }
    start();
    runUntil([] {
        return texts().size() == 256;
    });
    std::map<uint32_t, int> uses;
    for (const auto& [path, record] : platform().faultRecords)
    {
        ++uses[std::get<uint32_t>(record.at("SensorNumber"))];
    }
    ASSERT_EQ(uses.size(), 255u);
    EXPECT_EQ(uses.begin()->first, 1u);
    EXPECT_EQ(uses.rbegin()->first, 255u);
    EXPECT_EQ(uses[1], 2);
    EXPECT_EQ(uses[2], 1);
}

TEST_F(MonitorOfAMachine, LogsOnceThatTwoTablesWatchOneSensor)
{
    machine.write("sys/class/hwmon/hwmon0/name", "chip");
    machine.write("sys/class/hwmon/hwmon0/temp1_label", "Core");
    machine.write("sys/class/hwmon/hwmon0/temp1_input", "85000");
    platform().messages["HostMonitor.1.0.TemperatureHigh"] = {2, "%1: %3"};
    for (const auto& [sensor, warning] :
         {std::pair("chip/temp1", 80.0), std::pair("chip/Core", 70.0)})
    {
        config.watches.push_back({Temperature{sensor},
                                  {.direction = Direction::above,
                                   .warning = warning,
                                   .critical = 95,
                                   .hysteresis = 3},
                                  root + "/a"});
    }
    start();
    runUntil([] {
        return texts().size() == 1;
    });
    EXPECT_EQ(texts(), Lines{"chip/temp1 (hwmon0): 80.0"});
    // The next interval finds the same problem again.
    int rounds = 0;
    runUntil([&rounds] {
        return ++rounds > 10;
    });
    EXPECT_THAT(journal().take("log 2 310"),
                testing::ElementsAre(HasSubstr(
                    "chip/temp1 (hwmon0) is watched by two tables for " + root +
                    "/a: the first one counts")));
}

TEST_F(MonitorOfAMachine, WithdrawsGoneDevicesThoughANewOneGetsNoComponent)
{
    watchTemperatures();
    std::get<Temperature>(config.watches[0].subject).eachDevice = true;
    const auto chips = machine.path() / "sys/class/hwmon";
    machine.write("sys/class/hwmon/hwmon0/name", "chip");
    machine.write("sys/class/hwmon/hwmon0/temp1_input", "97000");
    start();
    runUntil([] {
        return texts() == Lines{"chip/temp1 (hwmon0): 97.0!"};
    });
    journal().take();
    constexpr int failures = 100000;
    for (int i = 0; i < failures; ++i)
    {
        journal().answer("sd_bus_add_object_vtable", -ENOBUFS);
    }
    machine.write("new/name", "chip");
    machine.write("new/temp1_input", "97000");
    std::filesystem::rename(machine.path() / "new", chips / "hwmon1");
    std::filesystem::rename(chips / "hwmon0", machine.path() / "gone");
    runUntil([] {
        return texts().empty();
    });
    int rounds = 0;
    runUntil([&rounds] {
        return ++rounds > 20;
    });
    Lines own = journal().take("log 2 310");
    std::erase_if(own, [](const std::string& line) {
        return line.find("unable to make the component") == std::string::npos;
    });
    EXPECT_THAT(own,
                testing::ElementsAre(HasSubstr(root + "/a/chip_2fhwmon1__")));
    journal().clear();
    runUntil([] {
        return texts() == Lines{"chip/temp1 (hwmon1): 97.0!"};
    });
}

TEST_F(MonitorOfAMachine, HasAComponentForAMissingSource)
{
    watch(Temperature{"*"}, root + "/a");
    start();
    EXPECT_TRUE(platform().healthRecords.contains(root + "/a"));
    EXPECT_THAT(journal().take("log 2 310"),
                testing::ElementsAre(
                    HasSubstr("found nothing to watch for temperature")));
}

TEST_F(MonitorOfAMachine, ThrowsWhenAComponentCannotBeMade)
{
    watch(Memory{}, root + "/a");
    journal().answer("sd_bus_add_object_vtable", -EEXIST);
    try
    {
        start();
        ADD_FAILURE() << "there is a component";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_EQ(e.what(), "unable to make the component " + root + "/a");
    }
}

TEST_F(MonitorOfAMachine, LeavesNothingBehind)
{
    memory(15);
    watch(Memory{}, root + "/a");
    start();
    runUntil([] {
        return texts().size() == 1;
    });
    monitor.reset();
    EXPECT_EQ(platform().faultRecords.size(), 0u);
    EXPECT_FALSE(platform().healthRecords.contains(root + "/a"));
}

} // namespace
} // namespace healthintf::hostmon
