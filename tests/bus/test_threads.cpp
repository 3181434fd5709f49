// SPDX-License-Identifier: Apache-2.0
/** @file Several threads of one process have a connection, a loop and a
 *  component each, while other threads change settings, hide faults and run
 *  queries. Meant for ThreadSanitizer above all. */

#include "bus_client.hpp"
#include "private_bus.hpp"

#include <hmi_fault_health.hpp>
#include <platform/config_manager.h>

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>

namespace healthintf::test
{
namespace
{

using health_namespace::FaultAndHealth;
using health_namespace::FaultEntry;

const std::string root = "/com/vexa/olvar/health";

/** Processes a connection's messages until a descriptor becomes readable. */
using Loop = void (*)(sd_bus* bus, int stop);

void runSdEvent(sd_bus* /*bus*/, int stop)
{
    sd_event* event = nullptr;
    sd_event_default(&event);
    sd_event_add_io(
        event, nullptr, stop, EPOLLIN,
        [](sd_event_source* source, int, uint32_t, void*) {
            return sd_event_exit(sd_event_source_get_event(source), 0);
        },
        nullptr);
    sd_event_loop(event);
    sd_event_unref(event);
}

void runOwnLoop(sd_bus* bus, int stop)
{
    for (;;)
    {
        while (sd_bus_process(bus, nullptr) > 0)
        {}
        std::array<pollfd, 2> polled{
            pollfd{.fd = stop, .events = POLLIN, .revents = 0},
            pollfd{.fd = sd_bus_get_fd(bus), .events = POLLIN, .revents = 0}};
        poll(polled.data(), polled.size(), -1);
        if (polled[0].revents != 0)
        {
            return;
        }
    }
}

/** A thread with a component that has two faults. */
class ComponentThread
{
  public:
    ComponentThread(const std::string& key, Loop loop) :
        stop(eventfd(0, EFD_CLOEXEC)), thread([this, key, loop] {
            run(key, loop);
        })
    {
        owner = ready.get_future().get();
    }

    ~ComponentThread()
    {
        const uint64_t one = 1;
        EXPECT_EQ(write(stop, &one, sizeof(one)),
                  static_cast<ssize_t>(sizeof(one)));
        thread.join();
        close(stop);
    }

    std::string owner;

  private:
    void run(const std::string& key, Loop loop)
    {
        sd_bus* raw = nullptr;
        sd_bus_default(&raw);
        sd_event* event = nullptr;
        if (loop == runSdEvent)
        {
            sd_event_default(&event);
            sd_bus_attach_event(raw, event, SD_EVENT_PRIORITY_NORMAL);
        }
        {
            sdbusplus::bus_t bus(raw);
            const std::unique_ptr<FaultAndHealth> component(
                FaultAndHealth::Init(bus, key, 2, false));
            component->addFault("BAD", "/s1", {}, "Test.1", "", 1, 4, "Bad.", 1,
                                "", 0);
            component->addFault("SLOW", "/s2", {}, "Test.1", "", 2, 4, "Slow.",
                                2, "", 0);
            ready.set_value(bus.get_unique_name());
            loop(raw, stop);
        }
        sd_bus_detach_event(raw);
        sd_event_unref(event);
        sd_bus_flush_close_unref(raw);
    }

    std::promise<std::string> ready;
    int stop;
    std::thread thread;
};

constexpr int rounds = 40;

/** Hides all faults by the LCD's setting and shows them again. */
void changeSettings()
{
    const CfgMgrOrigin origin{"test", nullptr, nullptr};
    for (int i = 0; i < rounds; ++i)
    {
        EXPECT_EQ(CfgSetAttributeInt("system.embedded.1#lcd.1#hideerrs", i % 2,
                                     0, &origin),
                  0);
    }
}

/** Hides the faults of a sensor by signals and shows them again. */
void sendSignals()
{
    sd_bus* bus = nullptr;
    sd_bus_default(&bus);
    for (int i = 0; i < rounds; ++i)
    {
        EXPECT_EQ(
            FaultAndHealth::SendHideFaultsSignal(i % 2 == 0, "", "/s1", 0), 0);
    }
    // The bus replies after it has delivered all earlier messages.
    EXPECT_GE(sd_bus_call_method(bus, "org.freedesktop.DBus", "/",
                                 "org.freedesktop.DBus.Peer", "Ping", nullptr,
                                 nullptr, ""),
              0);
    sd_bus_flush_close_unref(bus);
}

void askUntil(const std::atomic<bool>& done)
{
    std::string everything;
    while (!done)
    {
        int visible = -1;
        int hidden = -1;
        EXPECT_EQ(FaultEntry::GetNumberOfHiddenVisibleFaults(visible, hidden),
                  0);
        EXPECT_EQ(visible + hidden, 4);
        std::vector<std::pair<std::string, FaultEntry_gen>> worst;
        EXPECT_EQ(FaultEntry::GetNFaultEntries(everything, 2, worst, false), 0);
        EXPECT_LE(worst.size(), 2u);
    }
}

TEST(Threads, HaveComponentsThatHandleSettingsAndSignalsOnTheirOwnLoops)
{
    const PrivateBus bus;
    bus.activate("com.vexa.olvar.healthmgr", HEALTHMGR);
    BusClient client;
    const ComponentThread fans(root + "/fans", runSdEvent);
    const ComponentThread disks(root + "/disks", runOwnLoop);

    std::atomic<bool> done = false;
    std::thread asking([&done] {
        askUntil(done);
    });
    std::thread settings(changeSettings);
    std::thread signals(sendSignals);
    settings.join();
    signals.join();
    EXPECT_EQ(client.health(fans.owner, root + "/fans"), 4u);
    EXPECT_EQ(client.health(disks.owner, root + "/disks"), 4u);
    done = true;
    asking.join();

    int visible = -1;
    int hidden = -1;
    EXPECT_EQ(FaultEntry::GetNumberOfHiddenVisibleFaults(visible, hidden), 0);
    EXPECT_EQ(visible, 4);
    EXPECT_EQ(hidden, 0);
}

} // namespace
} // namespace healthintf::test
