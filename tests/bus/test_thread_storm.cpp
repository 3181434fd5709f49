// SPDX-License-Identifier: Apache-2.0
/** @file Threads of one process call the whole library at once, each on its own
 *  connection: additions by the plain functions, events, settings, and queries
 *  during changes of the data cache. */

#include "cache_view.hpp"
#include "event_records.hpp"
#include "private_bus.hpp"

#include <healthmgrintf.h>
#include <hmi_faultentry.hpp>
#include <lmi_sel_fault.hpp>

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace healthintf::test
{
namespace
{

using health_namespace::FaultAndHealth;
using health_namespace::FaultEntry;
using logmgr_interface::SELAndFault;

const std::string root = "/com/vexa/olvar/health";
constexpr int writers = 4;

/** How often each thread repeats its work; a campaign sets more. */
int rounds()
{
    const char* asked = std::getenv("STORM_ROUNDS");
    return asked == nullptr ? 25 : std::stoi(asked);
}

/** A thread's own connection. */
class OwnConnection
{
  public:
    OwnConnection()
    {
        EXPECT_GE(sd_bus_open(&bus), 0);
    }

    ~OwnConnection()
    {
        sd_bus_flush_close_unref(bus);
    }

    OwnConnection(const OwnConnection&) = delete;
    OwnConnection& operator=(const OwnConnection&) = delete;

    sd_bus* get() const
    {
        return bus;
    }

    void work() const
    {
        while (sd_bus_process(bus, nullptr) > 0)
        {}
    }

  private:
    sd_bus* bus = nullptr;
};

class ThreadStorm : public testing::Test
{
  protected:
    ThreadStorm()
    {
        bus.folder().write("Storm.json",
                           R"({"RegistryPrefix": "Storm",
                               "RegistryVersion": "1.0.0", "Language": "en",
                               "Messages": {"Failed": {
                                 "Message": "Fan %1 failed.",
                                 "MessageSeverity": "Critical",
                                 "NumberOfArgs": 1}}})");
        setenv("HEALTHINTF_REGISTRY_PATH", bus.folder().path().c_str(), 1);
        setenv("HEALTHINTF_EVENT_PATH", SHIPPED_REGISTRIES "/../events", 1);
    }

    /** Adds and removes faults as a daemon in C does. */
    void reportPlainly(const std::string& key)
    {
        const OwnConnection own;
        auto* object = FaultAndHealth_Initialization(own.get(), key.c_str());
        ASSERT_NE(object, nullptr);
        const char* const arguments[] = {"1"};
        for (int round = 0; round < rounds(); ++round)
        {
            EXPECT_EQ(FaultAndHealth_AddFault(
                          object, "Storm.Failed", "/s",
                          static_cast<const char* const*>(arguments), 1,
                          "Fan.1", "fans", 48, 4),
                      0);
            own.work();
            EXPECT_EQ(FaultAndHealth_RemoveFault(object, "Storm.Failed", "/s"),
                      0);
            operations += 2;
        }
        FaultAndHealth_Destuctor(object);
    }

    /** Reports events and their ends. */
    void reportEvents(const std::string& key)
    {
        const OwnConnection own;
        sdbusplus::bus_t connection(own.get());
        const std::unique_ptr<FaultAndHealth> component(
            FaultAndHealth::Init(connection, key, 2, false));
        ASSERT_NE(component, nullptr);
        SELAndFault events(component.get());
        SELInterface::SensorInfo sensor{"fan", "/sensors/fan", 0, 0};
        for (int round = 0; round < rounds(); ++round)
        {
            const Record event = makeRecord({.sensorType = 4,
                                             .eventType = 1,
                                             .offset = 2,
                                             .asserted = round % 2 == 0});
            std::vector<uint8_t> record(event.begin(), event.end());
            EXPECT_EQ(events.findFaultInfoAndAddFault(sensor, record), 0);
            own.work();
            ++operations;
        }
    }

    /** Runs every query until told to stop. */
    void ask(const std::atomic<bool>& done)
    {
        SELAndFault events;
        while (!done)
        {
            int visible = 0;
            int hidden = 0;
            std::vector<int> states(7);
            std::string everything;
            std::vector<std::pair<std::string, FaultEntry_gen>> worst;
            std::map<std::string, SELEntry_gen> entries;
            EXPECT_EQ(
                FaultEntry::GetNumberOfHiddenVisibleFaults(visible, hidden), 0);
            EXPECT_LE(visible + hidden, 10 + writers);
            EXPECT_EQ(FaultEntry::GetLEDStateFromFaultEntries(states), 0);
            EXPECT_EQ(FaultEntry::GetNFaultEntries(everything, 3, worst, false),
                      0);
            EXPECT_EQ(events.GetSELDatacacheEntries(entries), 0);
            operations += 4;
        }
    }

    PrivateBus bus;
    std::atomic<int> operations = 0;
};

TEST_F(ThreadStorm, LeavesNothingBehind)
{
    std::atomic<bool> done = false;
    std::vector<std::thread> asking;
    std::vector<std::thread> working;
    for (int i = 0; i < 2; ++i)
    {
        asking.emplace_back([this, &done] {
            ask(done);
        });
    }
    for (int i = 0; i < writers; ++i)
    {
        working.emplace_back([this, i] {
            reportPlainly(root + "/t" + std::to_string(i));
        });
    }
    working.emplace_back([this] {
        reportEvents(root + "/events");
    });
    for (std::thread& thread : working)
    {
        thread.join();
    }
    done = true;
    for (std::thread& thread : asking)
    {
        thread.join();
    }
    EXPECT_TRUE(recordedFaults().empty());
    EXPECT_TRUE(recordedKeys().empty());
    RecordProperty("operations", operations);
}

TEST_F(ThreadStorm, GivesEachFaultANumberOfItsOwn)
{
    const int each = 100 * rounds();
    std::vector<std::vector<uint16_t>> taken(writers);
    std::vector<std::thread> taking;
    for (auto& numbers : taken)
    {
        taking.emplace_back([&numbers, each] {
            for (int i = 0; i < each; ++i)
            {
                numbers.push_back(FaultEntry::GetUniqueFaultNumber());
            }
        });
    }
    for (std::thread& thread : taking)
    {
        thread.join();
    }
    // There are 65,536 numbers; then they repeat.
    std::multiset<uint16_t> all;
    for (const auto& numbers : taken)
    {
        all.insert(numbers.begin(), numbers.end());
    }
    const std::size_t turns = (all.size() + 65'535) / 65'536;
    for (const uint16_t number : all)
    {
        EXPECT_LE(all.count(number), turns);
    }
    RecordProperty("operations", writers * each);
}

} // namespace
} // namespace healthintf::test
