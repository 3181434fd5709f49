// SPDX-License-Identifier: Apache-2.0
/** @file hostmon with a configuration and a changing machine, whose /proc is a
 *  folder of the test. */

#include "bus_client.hpp"
#include "cache_view.hpp"
#include "private_bus.hpp"
#include "process.hpp"
#include "unanswering_filesystem.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <sched.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health";
const std::string host = root + "/host";

/** The key of the component of a device that has a chip. */
std::string deviceKey(const std::string& device)
{
    return host + "/temperature/chip_2f" + device + "__";
}

class HostMonitor : public testing::Test
{
  protected:
    HostMonitor()
    {
        setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
        memory(90);
        config(R"(
interval = 0.1
[[memory]]
warning = 20
critical = 10
hysteresis = 5
)");
    }

    /** Sets how much of the machine's memory is available. */
    void memory(int percent) const
    {
        // Replaced in one step, so that hostmon never reads half a file.
        const auto file =
            machine.write("new", "MemTotal: 100 kB\nMemAvailable: " +
                                     std::to_string(percent) + " kB\n");
        std::filesystem::create_directories(machine.path() / "proc");
        std::filesystem::rename(file, machine.path() / "proc" / "meminfo");
    }

    void process(const std::string& stat) const
    {
        machine.write("proc/4711/stat", stat);
    }

    void config(const std::string& text) const
    {
        machine.write("hostmon.toml", text);
    }

    Process hostmon(std::vector<std::string> options = {}) const
    {
        std::vector<std::string> command{HOSTMON, "--config",
                                         machine.path() / "hostmon.toml",
                                         "--root", machine.path()};
        command.insert(command.end(), options.begin(), options.end());
        return Process(command);
    }

    TemporaryFolder machine;
    PrivateBus bus;
    BusClient client;
};

TEST_F(HostMonitor, RaisesAndLowersFaultsAsTheMachineChanges)
{
    Process running = hostmon();
    const std::string key = host + "/memory";
    client.waitForHealth(key, 2);
    EXPECT_EQ(recordedFaults().size(), 0u);

    memory(18);
    client.waitForHealth(key, 3);
    ASSERT_EQ(recordedFaults().size(), 1u);
    EXPECT_EQ(recordedFaults()[0].messageID, "HostMonitor.1.0.MemoryLow");
    EXPECT_EQ(recordedFaults()[0].message,
              "The memory of this machine is getting low: 18.0 percent "
              "available (limit 20.0).");

    memory(5);
    // The worse fault is added before the other one is removed, so that the
    // health does not improve for a moment.
    client.waitForHealth(key, 4);
    client.waitUntil("end of the warning", [] {
        return recordedFaults().size() == 1;
    });
    EXPECT_EQ(recordedFaults()[0].messageID, "HostMonitor.1.0.MemoryExhausted");

    memory(80);
    client.waitForHealth(key, 2);
    EXPECT_EQ(recordedFaults().size(), 0u);
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
    EXPECT_EQ(recordedKeys().size(), 0u);
}

TEST_F(HostMonitor, NoticesAProcessThatEndsAndReturns)
{
    process("4711 (important) S 1\n");
    config("interval = 0.1\n[[process]]\nname = \"important\"\n");
    Process running = hostmon();
    client.waitForHealth(host + "/process", 2);
    process("4711 (important) Z 1\n");
    client.waitForHealth(host + "/process", 4);
    EXPECT_EQ(recordedFaults()[0].message,
              "The process important is not running.");
    process("4711 (important) S 1\n");
    client.waitForHealth(host + "/process", 2);
}

TEST_F(HostMonitor, CreatesAComponentForEachKind)
{
    process("4711 (important) S 1\n");
    config(R"(
[[memory]]
warning = 20
critical = 10
[[process]]
name = "important"
[[process]]
name = "other"
severity = "warning"
component = "/com/vexa/olvar/health/special"
)");
    Process running = hostmon();
    client.waitForHealth(root + "/special", 3);
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(host + "/memory", host + "/process",
                                     root + "/special"));
}

TEST_F(HostMonitor, ReportsSourcesThatItCannotRead)
{
    config("interval = 0.1\n[[pressure]]\nresource = \"io\"\nwarning = "
           "5\ncritical = 50\n");
    Process running = hostmon();
    client.waitForHealth(host + "/pressure", 3);
    EXPECT_THAT(recordedFaults()[0].message,
                HasSubstr("io cannot be watched: unable to open"));
    machine.write("proc/pressure/io", "some avg10=0.00 avg60=0.00 "
                                      "avg300=0.00 total=0\n");
    client.waitForHealth(host + "/pressure", 2);
}

TEST_F(HostMonitor, ReportsThatThereAreNoTemperatures)
{
    config("[[temperature]]\nwarning = 80\ncritical = 90\n");
    Process running = hostmon();
    client.waitForHealth(host + "/temperature", 2);
    EXPECT_THAT(running.errors(), HasSubstr("found nothing to watch for "
                                            "temperature"));
}

TEST_F(HostMonitor, EndsWithFileLineAndKeyOfAWrongConfiguration)
{
    config("[[memory]]\nwarning = 5\ncritical = 10\n");
    Process running = hostmon();
    EXPECT_EQ(running.wait(), 1);
    EXPECT_EQ(running.errors(),
              "hostmon: " + (machine.path() / "hostmon.toml").string() +
                  ":3: memory.critical: must not be above warning\n");
}

TEST_F(HostMonitor, ChecksAConfigurationWithoutABus)
{
    bus.kill();
    Process good = hostmon({"--check"});
    EXPECT_EQ(good.hear(),
              (machine.path() / "hostmon.toml").string() + ": 1 to watch");
    EXPECT_EQ(good.wait(), 0);
    config("speed = 1");
    Process bad = hostmon({"--check"});
    EXPECT_EQ(bad.wait(), 1);
}

TEST_F(HostMonitor, ShowsPresentReadingsWithoutABus)
{
    bus.kill();
    memory(15);
    Process running = hostmon({"--show"});
    EXPECT_EQ(running.hear(), "memory memory: 15.0 (warning)");
    EXPECT_EQ(running.wait(), 0);
}

TEST_F(HostMonitor, FailsWhenItsOutputCannotBeWritten)
{
    for (const std::string option : {"--check", "--show"})
    {
        Process running({"sh", "-c",
                         HOSTMON
                             " --config \"$0/hostmon.toml\" --root \"$0\" " +
                             option + " >/dev/full",
                         machine.path()});
        EXPECT_EQ(running.wait(), 1) << option;
        EXPECT_EQ(running.errors(),
                  "hostmon: unable to write to the standard output\n");
    }
}

TEST_F(HostMonitor, IsRefusedWhereAnotherReportsOnAComponent)
{
    memory(15);
    Process first = hostmon();
    client.waitForHealth(host + "/memory", 3);
    Process second = hostmon();
    EXPECT_EQ(second.wait(), 1);
    EXPECT_EQ(second.errors(),
              "hostmon: another hostmon reports on " + host + "/memory\n");
    EXPECT_EQ(recordedKeys(), std::vector{host + "/memory"});
    EXPECT_EQ(recordedFaults().size(), 1u);

    first.signal(SIGTERM);
    EXPECT_EQ(first.wait(), 0);
    const Process third = hostmon();
    client.waitForHealth(host + "/memory", 3);
}

TEST_F(HostMonitor, IsRefusedWhereAnotherReportsOnADevicesComponent)
{
    machine.write("sys/class/hwmon/hwmon0/name", "chip\n");
    machine.write("sys/class/hwmon/hwmon0/temp1_input", "97000\n");
    config("interval = 0.1\n[[temperature]]\ncomponents = \"each device\"\n"
           "warning = 80\ncritical = 90\n");
    const Process first = hostmon();
    const std::string key = deviceKey("hwmon0");
    client.waitForHealth(key, 4);

    config("interval = 0.1\n[[memory]]\ncomponent = \"" + key +
           "\"\nwarning = 20\ncritical = 10\n");
    Process second = hostmon();
    EXPECT_EQ(second.wait(), 1);
    EXPECT_EQ(second.errors(),
              "hostmon: another hostmon reports on " + key + "\n");
    EXPECT_EQ(recordedFaults().size(), 1u);

    std::filesystem::remove_all(machine.path() / "sys");
    client.waitUntil("the device's end", [&] {
        return recordedKeys() == std::vector{host + "/temperature"};
    });
    memory(15);
    const Process third = hostmon();
    client.waitForHealth(key, 3);
}

TEST_F(HostMonitor, KeepsDevicesApartWhoseNamesBeginAlike)
{
    const std::string chips = "sys/class/hwmon/";
    machine.write(chips + "hwmon10/name", "chip\n");
    machine.write(chips + "hwmon10/temp1_input", "97000\n");
    config("interval = 0.1\n[[temperature]]\ncomponents = \"each device\"\n"
           "warning = 80\ncritical = 90\n");
    const Process running = hostmon();
    client.waitForHealth(deviceKey("hwmon10"), 4);

    machine.write(chips + "hwmon1/name", "chip\n");
    machine.write(chips + "hwmon1/temp1_input", "40000\n");
    client.waitForHealth(deviceKey("hwmon1"), 2);
    machine.write(chips + "hwmon10/temp1_input", "40000\n");
    client.waitForHealth(deviceKey("hwmon10"), 2);
    client.waitForHealth(host + "/temperature", 2);
    EXPECT_EQ(recordedHealth(deviceKey("hwmon1")), 2u);
}

TEST_F(HostMonitor, MayRunTwiceForDifferentComponents)
{
    memory(15);
    const Process first = hostmon();
    client.waitForHealth(host + "/memory", 3);
    config("[[memory]]\ncomponent = \"" + root +
           "/other\"\nwarning = 20\ncritical = 10\n");
    const Process second = hostmon();
    client.waitForHealth(root + "/other", 3);
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(host + "/memory", root + "/other"));
}

TEST_F(HostMonitor, EndsOnASignalWhileASourceBlocks)
{
    memory(15);
    const std::string pipe = machine.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    config("interval = 0.1\ntimeout = 0.1\n[[memory]]\nwarning = 20\n"
           "critical = 10\n[[process]]\npidfile = \"" +
           pipe + "\"\n");
    Process running = hostmon();
    client.waitForHealth(host + "/process", 3);
    client.waitForHealth(host + "/memory", 3);
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
    EXPECT_EQ(recordedKeys().size(), 0u);
}

TEST_F(HostMonitor, EndsWithoutABus)
{
    bus.kill();
    Process running = hostmon();
    EXPECT_EQ(running.wait(), 1);
    EXPECT_THAT(running.errors(),
                HasSubstr("hostmon: unable to connect to the bus"));
}

TEST_F(HostMonitor, EndsWhenItLosesTheBus)
{
    memory(15);
    Process running = hostmon();
    client.waitForHealth(host + "/memory", 3);
    bus.kill();
    EXPECT_EQ(running.wait(), 1);
    EXPECT_THAT(running.errors(),
                HasSubstr("the connection to the bus is lost"));
}

TEST_F(HostMonitor, SurvivesAComponentThatTheDataCacheCannotHold)
{
    const std::string key = root + "/" + std::string(600, 'x');
    config("component = \"" + key +
           "\"\n[[memory]]\nwarning = 20\ncritical = 10\n");
    const Process running = hostmon();
    client.waitForHealth(key + "/memory", 2);
    EXPECT_THAT(running.errors(), HasSubstr("an object path is too long"));
}

/** Tests with filesystems that are mounted for the test alone. */
class HostMonitorOfMounts : public HostMonitor
{
  protected:
    void SetUp() override
    {
        std::filesystem::create_directory(place);
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
            !mountNew())
        {
            GTEST_SKIP() << "no filesystem can be mounted here";
        }
        umount(place.c_str());
        config("interval = 0.1\ntimeout = 0.2\n[[memory]]\nwarning = 20\n"
               "critical = 10\n[[filesystem]]\npath = \"" +
               place.string() + "\"\nwarning = 95\ncritical = 99\n");
    }

    void TearDown() override
    {
        umount2(place.c_str(), MNT_DETACH);
    }

    bool mountNew() const
    {
        return mount("tmpfs", place.c_str(), "tmpfs", 0, "size=1m") == 0;
    }

    /** Expects a single fault: the filesystem cannot be watched. */
    void expectCause(const std::string& cause) const
    {
        const auto faults = recordedFaults();
        ASSERT_EQ(faults.size(), 1u);
        EXPECT_EQ(faults[0].message,
                  place.string() + " cannot be watched: " + cause + ".");
    }

    /** Starts hostmon and waits until it has read the mounted filesystem. */
    Process startWithFilesystem()
    {
        EXPECT_TRUE(mountNew());
        const auto large =
            machine.write("mounted/large", std::string(1 << 20, 'x'));
        Process running = hostmon();
        client.waitForHealth(host + "/filesystem", 4);
        std::filesystem::remove(large);
        client.waitForHealth(host + "/filesystem", 2);
        return running;
    }

    /** Waits until hostmon has read all sources. */
    void waitForReading()
    {
        memory(15);
        client.waitForHealth(host + "/memory", 3);
        memory(90);
        client.waitForHealth(host + "/memory", 2);
    }

    /** The processes that read the filesystem. */
    static std::vector<std::string> listReaders(const Process& running)
    {
        const std::filesystem::path threads =
            "/proc/" + std::to_string(running.pid()) + "/task";
        std::vector<std::string> readers;
        for (const auto& thread : std::filesystem::directory_iterator(threads))
        {
            std::ifstream children(thread.path() / "children");
            for (std::string reader; children >> reader;)
            {
                readers.push_back(reader);
            }
        }
        return readers;
    }

    /** The process that reads the filesystem; empty while there is none. */
    static std::string findReader(const Process& running)
    {
        const auto readers = listReaders(running);
        return readers.empty() ? "" : readers.back();
    }

    const std::filesystem::path place{machine.path() / "mounted"};
};

TEST_F(HostMonitorOfMounts, ReportsAFilesystemThatIsNoLongerMounted)
{
    const Process running = startWithFilesystem();
    ASSERT_EQ(umount(place.c_str()), 0);
    client.waitForHealth(host + "/filesystem", 3);
    expectCause(place.string() + " is not mounted");
    ASSERT_TRUE(mountNew());
    client.waitForHealth(host + "/filesystem", 2);
    EXPECT_EQ(recordedFaults().size(), 0u);
}

TEST_F(HostMonitorOfMounts,
       ReportsAnUnmountedFilesystemAlthoughItsReaderWasKilled)
{
    const Process running = startWithFilesystem();
    ASSERT_EQ(umount(place.c_str()), 0);
    client.waitForHealth(host + "/filesystem", 3);

    const std::string reader = findReader(running);
    kill(std::stoi(reader), SIGKILL);
    for (std::string now; now.empty() || now == reader;
         now = findReader(running))
    {
        waitForReading();
    }
    waitForReading();
    expectCause(place.string() + " is not mounted");
}

/** Tests with a filesystem that no longer answers. */
class HostMonitorOfAHungMount : public HostMonitorOfMounts
{
  protected:
    void SetUp() override
    {
        HostMonitorOfMounts::SetUp();
        if (IsSkipped())
        {
            return;
        }
        try
        {
            mounted.emplace(place);
        }
        catch (const std::system_error& e)
        {
            GTEST_SKIP() << "no filesystem in user space: " << e.what();
        }
    }

    /** Makes the filesystem hang while hostmon reads it. */
    void hang()
    {
        client.waitForHealth(host + "/filesystem", 2);
        mounted->hang();
        client.waitForHealth(host + "/filesystem", 3);
        expectCause("no answer within 0.2 seconds");
    }

    std::optional<UnansweringFilesystem> mounted;
};

TEST_F(HostMonitorOfAHungMount, KeepsCheckingAllOtherSources)
{
    const Process running = hostmon();
    hang();
    memory(15);
    client.waitForHealth(host + "/memory", 3);
    memory(90);
    client.waitForHealth(host + "/memory", 2);
}

TEST_F(HostMonitorOfAHungMount, WatchesAFilesystemMountedInItsPlace)
{
    const Process running = hostmon();
    hang();
    ASSERT_EQ(umount2(place.c_str(), MNT_DETACH), 0);
    ASSERT_TRUE(mountNew());
    client.waitForHealth(host + "/filesystem", 2);
    machine.write("mounted/large", std::string(1 << 20, 'x'));
    client.waitForHealth(host + "/filesystem", 4);
}

TEST_F(HostMonitorOfAHungMount, AbandonsAtMostFourReaders)
{
    constexpr std::size_t all = 5;
    const Process running = hostmon();
    hang();
    while (listReaders(running).size() < all)
    {
        waitForReading();
    }
    // Longer than six times the timeout.
    for (int readings = 0; readings < 8; ++readings)
    {
        waitForReading();
        EXPECT_EQ(listReaders(running).size(), all);
    }
    mounted->endServer();
    while (listReaders(running).size() > 1)
    {
        waitForReading();
    }
}

TEST_F(HostMonitorOfAHungMount, EndsOnASignal)
{
    Process running = hostmon();
    hang();
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait(), 0);
    EXPECT_EQ(recordedKeys().size(), 0u);
}

TEST_F(HostMonitorOfAHungMount, LeavesItsComponentsToTheNextWhenItIsKilled)
{
    Process first = hostmon();
    hang();
    first.signal(SIGKILL);
    EXPECT_EQ(first.wait(), 128 + SIGKILL);
    EXPECT_EQ(recordedKeys().size(), 0u);

    memory(5);
    const Process second = hostmon();
    client.waitForHealth(host + "/memory", 4);
    client.waitForHealth(host + "/filesystem", 3);
}

} // namespace
} // namespace healthintf::test
