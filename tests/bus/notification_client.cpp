// SPDX-License-Identifier: Apache-2.0
/** @file A process that receives notifications, for the tests. It executes
 *  commands from standard input, one a line, answers each with one line, and
 *  prints one line for each notification:
 *
 *      LABEL THREAD SOURCE|- NAME NEW PREVIOUS
 *
 *  THREAD is "own" for the thread that subscribed, else "other".
 *
 *  Usage: notification-client sd-event|own-loop|own-connection|threads NAME
 *
 *      subscribe LABEL NAME [ACTION ...]
 *                             ok, null, or taken for a label that is in use
 *      free LABEL             ok
 *      set ATTRIBUTE VALUE [SOURCE]
 *                             the result
 *      count ATTRIBUTE FIRST NUMBER
 *                             sets NUMBER consecutive values: ok
 *      name                   the unique name of the default bus
 *      quit                   ends the process without freeing anything
 *      end of input           ends the process
 *
 *  At each notification a subscription runs its action: nothing, "throw", or a
 *  command of this list.
 *
 *  With "threads NAME" a second thread has an event loop and the subscription
 *  "second" to NAME, and prints "second ok"; the first thread runs as own-loop.
 */

#include "command_lines.hpp"

#include <platform/config_manager.h>
#include <platform/notification.h>

#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace
{

void say(const std::string& line)
{
    static std::mutex speaking;
    const std::lock_guard lock(speaking);
    std::cout << line << std::endl;
}

std::string obey(const std::string& line);

struct Subscriber
{
    std::string label;
    std::string action;
    std::thread::id thread = std::this_thread::get_id();
    void* handle = nullptr;
};

uint32_t numberAt(const uint8_t* data, std::size_t offset)
{
    return static_cast<uint32_t>(data[offset]) |
           static_cast<uint32_t>(data[offset + 1]) << 8 |
           static_cast<uint32_t>(data[offset + 2]) << 16 |
           static_cast<uint32_t>(data[offset + 3]) << 24;
}

void hear(const char* source, const char* name, const uint8_t* data,
          uint64_t length, void* context)
{
    const auto* subscriber = static_cast<const Subscriber*>(context);
    std::ostringstream line;
    line << subscriber->label
         << (subscriber->thread == std::this_thread::get_id() ? " own "
                                                              : " other ")
         << (*source == '\0' ? "-" : source) << " " << name;
    if (data != nullptr && length > CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET)
    {
        line << " " << numberAt(data, CFGMGR_CHANGE_NEW_VALUE_OFFSET) << " "
             << numberAt(data, CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET);
    }
    say(line.str());
    // The action may end this subscription.
    const std::string action = subscriber->action;
    if (action == "throw")
    {
        throw std::runtime_error("a callback's own failure");
    }
    if (!action.empty())
    {
        say(obey(action));
    }
}

std::map<std::string, Subscriber> subscribers;

std::string subscribe(std::istringstream& words)
{
    Subscriber made;
    std::string name;
    words >> made.label >> name;
    std::getline(words >> std::ws, made.action);
    const auto [at, isNew] = subscribers.emplace(made.label, made);
    if (!isNew)
    {
        return "taken";
    }
    Subscriber& subscriber = at->second;
    subscriber.handle = LQOVS_receive_signal(name.c_str(), hear, &subscriber);
    return subscriber.handle != nullptr ? "ok" : "null";
}

std::string set(std::istringstream& words)
{
    std::string attribute;
    std::string source;
    int32_t value = 0;
    words >> attribute >> value >> source;
    const CfgMgrOrigin origin{source.c_str(), nullptr, nullptr};
    return std::to_string(CfgSetAttributeInt(
        attribute.c_str(), value, 0, source.empty() ? nullptr : &origin));
}

std::string count(std::istringstream& words)
{
    std::string attribute;
    int32_t first = 0;
    int32_t number = 0;
    words >> attribute >> first >> number;
    for (int32_t i = 0; i < number; ++i)
    {
        if (const int result =
                CfgSetAttributeInt(attribute.c_str(), first + i, 0, nullptr);
            result != 0)
        {
            return std::to_string(result);
        }
    }
    return "ok";
}

std::string uniqueName()
{
    sd_bus* bus = nullptr;
    const char* unique = "none";
    if (sd_bus_default(&bus) >= 0)
    {
        sd_bus_get_unique_name(bus, &unique);
    }
    const std::string name = unique;
    sd_bus_unref(bus);
    return name;
}

std::string obey(const std::string& line)
{
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "subscribe")
    {
        return subscribe(words);
    }
    if (command == "free")
    {
        std::string label;
        words >> label;
        LQOVS_receive_signal_free(subscribers.at(label).handle);
        subscribers.erase(label);
        return "ok";
    }
    if (command == "set")
    {
        return set(words);
    }
    if (command == "count")
    {
        return count(words);
    }
    if (command == "name")
    {
        return uniqueName();
    }
    if (command == "quit")
    {
        _exit(0);
    }
    return "no command " + command;
}

/** Executes the commands that have arrived on standard input.
 *
 *  @return false when standard input has ended */
bool obeyInput()
{
    static healthintf::test::CommandLines commands;
    return commands.take([](const std::string& line) {
        say(obey(line));
    });
}

using EventPtr = std::unique_ptr<sd_event, decltype(&sd_event_unref)>;

EventPtr defaultLoop()
{
    sd_event* event = nullptr;
    sd_event_default(&event);
    return {event, &sd_event_unref};
}

/** Runs a loop until @p handler, which watches a descriptor, ends it. */
void runUntil(sd_event* event, int fd, sd_event_io_handler_t handler)
{
    sd_event_add_io(event, nullptr, fd, EPOLLIN, handler, nullptr);
    sd_event_loop(event);
}

int takeInput(sd_event_source* source, int /*fd*/, uint32_t /*events*/,
              void* /*context*/)
{
    if (!obeyInput())
    {
        sd_event_exit(sd_event_source_get_event(source), 0);
    }
    return 0;
}

/** Runs the default connection in the default event loop. */
void runSdEvent()
{
    const EventPtr event = defaultLoop();
    sd_bus* bus = nullptr;
    sd_bus_default(&bus);
    sd_bus_attach_event(bus, event.get(), SD_EVENT_PRIORITY_NORMAL);
    runUntil(event.get(), STDIN_FILENO, takeInput);
    sd_bus_flush_close_unref(bus);
}

/** Runs a default event loop without a connection of its own. */
void runOwnConnection()
{
    const EventPtr event = defaultLoop();
    runUntil(event.get(), STDIN_FILENO, takeInput);
}

/** Runs the default connection without an event loop. */
void runOwnLoop()
{
    sd_bus* bus = nullptr;
    sd_bus_default(&bus);
    bool more = true;
    while (more)
    {
        while (sd_bus_process(bus, nullptr) > 0)
        {}
        std::array<pollfd, 2> polled{
            pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
            pollfd{.fd = sd_bus_get_fd(bus), .events = POLLIN, .revents = 0}};
        poll(polled.data(), polled.size(), -1);
        more = polled[0].revents == 0 || obeyInput();
    }
    sd_bus_flush_close_unref(bus);
}

/** A thread with an event loop and a subscription. */
class Second
{
  public:
    explicit Second(const std::string& name) :
        end(eventfd(0, EFD_CLOEXEC)), thread([this, name] {
            run(name);
        })
    {}

    ~Second()
    {
        eventfd_write(end, 1);
        thread.join();
        close(end);
    }

    Second(const Second&) = delete;
    Second& operator=(const Second&) = delete;

  private:
    void run(const std::string& name) const
    {
        const EventPtr event = defaultLoop();
        Subscriber second{.label = "second", .action = ""};
        void* handle = LQOVS_receive_signal(name.c_str(), hear, &second);
        say(handle != nullptr ? "second ok" : "second null");
        runUntil(event.get(), end,
                 [](sd_event_source* source, int, uint32_t, void*) {
                     return sd_event_exit(sd_event_source_get_event(source), 0);
                 });
        LQOVS_receive_signal_free(handle);
    }

    int end;
    std::thread thread;
};

} // namespace

int main(int argc, char** argv)
{
    const std::string kind = argc > 1 ? argv[1] : "";
    if (kind == "sd-event")
    {
        runSdEvent();
    }
    else if (kind == "own-connection")
    {
        runOwnConnection();
    }
    else if (kind == "own-loop")
    {
        runOwnLoop();
    }
    else if (kind == "threads" && argc > 2)
    {
        const Second second(argv[2]);
        runOwnLoop();
    }
    else
    {
        std::fprintf(stderr, "notification-client: no such kind\n");
        return EXIT_FAILURE;
    }
    for (const auto& [label, subscriber] : subscribers)
    {
        LQOVS_receive_signal_free(subscriber.handle);
    }
    return EXIT_SUCCESS;
}
