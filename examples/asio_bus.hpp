// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file An example: a bus connection in a boost::asio loop. */

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <system_error>

/** The thread's default connection, processed by a boost::asio loop. */
class AsioBus
{
  public:
    explicit AsioBus(boost::asio::io_context& loop) :
        loop(loop), bus(open(raw)), socket(loop, bus.get_fd()), timer(loop)
    {}

    ~AsioBus()
    {
        // The connection closes the descriptor.
        socket.release();
    }

    AsioBus(const AsioBus&) = delete;
    AsioBus& operator=(const AsioBus&) = delete;

    sdbusplus::bus_t& connection()
    {
        return bus;
    }

    /** Runs the loop until it is stopped.
     *
     *  Any handler may have queued a message or made a call, so the connection
     *  is looked at after each of them.
     *
     *  @throws sdbusplus::exception::SdBusError when the connection is lost */
    void run()
    {
        do
        {
            while (bus.process_discard())
            {}
            await();
        } while (loop.run_one() != 0);
    }

  private:
    static sdbusplus::bus_t open(sd_bus*& raw)
    {
        if (const int result = sd_bus_default(&raw); result < 0)
        {
            throw std::system_error(-result, std::generic_category(),
                                    "sd_bus_default");
        }
        // It takes the reference that sd_bus_default() has given.
        return {raw, std::false_type()};
    }

    /** Wakes the loop when the connection has something to do. */
    void await()
    {
        using boost::asio::posix::stream_descriptor;

        if (!reads)
        {
            reads = true;
            socket.async_wait(stream_descriptor::wait_read,
                              [this](auto /*error*/) {
                                  reads = false;
                              });
        }
        if (!writes && (sd_bus_get_events(raw) & POLLOUT) != 0)
        {
            writes = true;
            socket.async_wait(stream_descriptor::wait_write,
                              [this](auto /*error*/) {
                                  writes = false;
                              });
        }
        awaitTime();
    }

    /** Wakes the loop when a call has had no answer for too long. */
    void awaitTime()
    {
        using std::chrono::steady_clock;

        uint64_t microseconds = UINT64_MAX;
        sd_bus_get_timeout(raw, &microseconds);
        if (microseconds == until)
        {
            return;
        }
        until = microseconds;
        timer.cancel();
        if (until != UINT64_MAX)
        {
            // Both count from the machine's start.
            timer.expires_at(
                steady_clock::time_point(std::chrono::microseconds(until)));
            timer.async_wait([](auto /*error*/) {});
        }
    }

    boost::asio::io_context& loop;
    sd_bus* raw = nullptr;
    sdbusplus::bus_t bus;
    boost::asio::posix::stream_descriptor socket;
    boost::asio::steady_timer timer;
    bool reads = false;
    bool writes = false;
    uint64_t until = UINT64_MAX;
};
