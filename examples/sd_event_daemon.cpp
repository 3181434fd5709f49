// SPDX-License-Identifier: Apache-2.0
/** @file An example: a daemon with an sd-event loop that reports what one
 *  component's temperature sensor reads.
 *
 *  Usage: sd-event-daemon KEY
 *
 *  Each line of standard input is a reading, in degrees. The daemon ends with
 *  its input and after SIGTERM. */

#include "reading_fault.hpp"

#include <sdbusplus/bus.hpp>
#include <systemd/sd-event.h>

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <system_error>

namespace
{

int require(int result, const char* call)
{
    if (result < 0)
    {
        throw std::system_error(-result, std::generic_category(), call);
    }
    return result;
}

/** The thread's sd-event loop. */
class Loop
{
  public:
    Loop()
    {
        sd_event* opened = nullptr;
        require(sd_event_default(&opened), "sd_event_default");
        event.reset(opened);
        endOn(SIGTERM);
    }

    sd_event* get() const
    {
        return event.get();
    }

    void run()
    {
        require(sd_event_loop(event.get()), "sd_event_loop");
    }

  private:
    struct Unref
    {
        void operator()(sd_event* loop) const
        {
            sd_event_unref(loop);
        }
    };

    /** Ends the loop after a signal, which must be blocked for that. */
    void endOn(int number)
    {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, number);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        require(
            sd_event_add_signal(event.get(), nullptr, number, nullptr, nullptr),
            "sd_event_add_signal");
    }

    std::unique_ptr<sd_event, Unref> event;
};

/** A connection that the loop processes. */
class LoopBus
{
  public:
    explicit LoopBus(const Loop& loop) : bus(sdbusplus::bus::new_default())
    {
        bus.attach_event(loop.get(), SD_EVENT_PRIORITY_NORMAL);
    }

    ~LoopBus()
    {
        bus.detach_event();
    }

    LoopBus(const LoopBus&) = delete;
    LoopBus& operator=(const LoopBus&) = delete;

    sdbusplus::bus_t& connection()
    {
        return bus;
    }

  private:
    sdbusplus::bus_t bus;
};

/** Takes the lines of standard input. */
class Readings
{
  public:
    Readings(const Loop& loop, ReadingFault& fault) : fault(fault)
    {
        require(sd_event_add_io(loop.get(), nullptr, STDIN_FILENO, EPOLLIN,
                                take, this),
                "sd_event_add_io");
    }

  private:
    static int take(sd_event_source* source, int fd, uint32_t /*happened*/,
                    void* context)
    {
        std::array<char, 4096> part{};
        const ssize_t got = read(fd, part.data(), part.size());
        if (got <= 0)
        {
            return sd_event_exit(sd_event_source_get_event(source), 0);
        }
        static_cast<Readings*>(context)->append({part.data(), size_t(got)});
        return 0;
    }

    void append(const std::string& text)
    {
        for (const char character : text)
        {
            if (character == '\n')
            {
                fault.take(line);
                line.clear();
            }
            else
            {
                line += character;
            }
        }
    }

    ReadingFault& fault;
    std::string line;
};

void serve(const std::string& key)
{
    Loop loop;
    LoopBus bus(loop);
    // Made after the bus, it is deleted before it.
    health_namespace::Component component(bus.connection(), key);
    ReadingFault fault(component);
    const Readings readings(loop, fault);
    loop.run();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: sd-event-daemon KEY\n");
        return EXIT_FAILURE;
    }
    try
    {
        serve(argv[1]);
        return EXIT_SUCCESS;
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "sd-event-daemon: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
