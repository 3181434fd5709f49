// SPDX-License-Identifier: Apache-2.0
/** @file The library and the benchmark's lower bound, a program of plain
 *  libsystemd calls, send the same messages. */

#include "direct_connection.hpp"
#include "private_bus.hpp"
#include "process.hpp"
#include "text.hpp"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace healthintf::test;

namespace
{

struct Message
{
    std::string path;
    std::string interface;
    std::string member;
    std::string signature;
    std::string arguments;

    bool operator==(const Message&) const = default;

    friend void PrintTo(const Message& message, std::ostream* out)
    {
        *out << message.path << " " << message.interface << "."
             << message.member << " " << message.signature << ": "
             << message.arguments;
    }
};

using Messages = std::vector<Message>;

std::string orEmpty(const char* text)
{
    return text == nullptr ? std::string() : text;
}

/** Receives a copy of every message on the bus. */
class Monitor
{
  public:
    Monitor()
    {
        sd_bus* made = nullptr;
        check(sd_bus_new(&made));
        bus.reset(made);
        check(sd_bus_set_monitor(made, 1));
        check(sd_bus_set_bus_client(made, 1));
        check(sd_bus_set_address(made, getenv("DBUS_SYSTEM_BUS_ADDRESS")));
        check(sd_bus_start(made));
        check(sd_bus_call_method(
            made, "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus.Monitoring", "BecomeMonitor", nullptr,
            nullptr, "asu", 0, 0));
    }

    /** Collects the signals of the next program until it leaves the bus. */
    Messages signalsOfTheNextProgram()
    {
        signals.clear();
        sender.clear();
        left = false;
        while (!left)
        {
            sd_bus_message* message = nullptr;
            const int worked = sd_bus_process(bus.get(), &message);
            const MessagePtr owned(message);
            check(worked);
            if (message != nullptr)
            {
                take(message);
            }
            else if (worked == 0 &&
                     sd_bus_wait(bus.get(), microseconds(patience)) <= 0)
            {
                throw std::runtime_error("the program did not leave the bus");
            }
        }
        return signals;
    }

  private:
    static uint64_t microseconds(std::chrono::microseconds time)
    {
        return time.count();
    }

    static void check(int result)
    {
        if (result < 0)
        {
            throw std::runtime_error("unable to watch the bus");
        }
    }

    void take(sd_bus_message* message)
    {
        if (sd_bus_message_is_signal(message, nullptr, nullptr) <= 0)
        {
            return;
        }
        const std::string from = orEmpty(sd_bus_message_get_sender(message));
        if (from == "org.freedesktop.DBus")
        {
            const char* name = nullptr;
            const char* before = nullptr;
            const char* after = nullptr;
            left = left || (sd_bus_message_is_signal(message, nullptr,
                                                     "NameOwnerChanged") > 0 &&
                            sd_bus_message_read(message, "sss", &name, &before,
                                                &after) > 0 &&
                            sender == name && orEmpty(after).empty());
            return;
        }
        sender = from;
        signals.push_back({orEmpty(sd_bus_message_get_path(message)),
                           orEmpty(sd_bus_message_get_interface(message)),
                           orEmpty(sd_bus_message_get_member(message)),
                           orEmpty(sd_bus_message_get_signature(message, 1)),
                           arguments(message)});
    }

    std::unique_ptr<sd_bus, Unref> bus;
    Messages signals;
    std::string sender;
    bool left = false;
};

void replaceAll(std::string& text, const std::string& from,
                const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
    {
        text.replace(at, from.size(), to);
    }
}

/** The messages of a program's run, without its process id and the time, which
 *  must differ. */
class Capture
{
  public:
    Capture(Monitor& monitor, const char* program, int rounds)
    {
        const std::time_t start = std::time(nullptr);
        Process process({program, std::to_string(rounds)});
        messages = monitor.signalsOfTheNextProgram();
        if (process.wait() != 0)
        {
            throw std::runtime_error(process.errors());
        }
        std::array<char, 16> own{};
        std::snprintf(own.data(), own.size(), "Fault_%04X",
                      static_cast<unsigned>(process.pid()) & 0xFFFF);
        for (Message& message : messages)
        {
            replaceAll(message.path, own.data(), "Fault_");
            replaceAll(message.arguments, own.data(), "Fault_");
            for (std::time_t at = start; at <= std::time(nullptr); ++at)
            {
                replaceAll(message.arguments, std::to_string(at), "now");
            }
        }
        dropSetUpAndEnd();
    }

    Messages messages;

  private:
    /** Keeps the messages of the rounds: from the first one about a fault to
     *  the report that the node is well again. */
    void dropSetUpAndEnd()
    {
        const auto first =
            std::find_if(messages.begin(), messages.end(), [](const auto& m) {
                return m.path.find("/entry/") != std::string::npos;
            });
        const auto last =
            std::find_if(messages.rbegin(), messages.rend(), [](const auto& m) {
                return m.member == "HealthStatusUpdate" &&
                       m.arguments.ends_with(" 2");
            }).base();
        messages = first < last ? Messages(first, last) : Messages();
    }
};

} // namespace

TEST(BenchmarkMessages, AreTheSameForLibraryAndPlainProgram)
{
    constexpr int rounds = 3;
    constexpr std::size_t messagesOfARound = 18;
    const PrivateBus bus;
    Monitor monitor;
    const Capture library(monitor, ADD_REMOVE_LIBRARY, rounds);
    const Capture floor(monitor, ADD_REMOVE_FLOOR, rounds);

    ASSERT_EQ(floor.messages.size(), rounds * messagesOfARound);
    ASSERT_EQ(library.messages.size(), floor.messages.size());
    for (std::size_t i = 0; i < floor.messages.size(); ++i)
    {
        EXPECT_EQ(library.messages[i], floor.messages[i]) << "message " << i;
    }
}
