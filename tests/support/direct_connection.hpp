// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Two D-Bus connections joined by a socket pair: a test talks to the
 *  library without a bus daemon. */

#include "recording_bus.hpp"

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>

namespace healthintf::test
{

/** Releases libsystemd's objects. */
struct Unref
{
    void operator()(sd_bus* bus) const
    {
        sd_bus_close(bus);
        sd_bus_unref(bus);
    }
    void operator()(sd_bus_slot* slot) const
    {
        sd_bus_slot_unref(slot);
    }
    void operator()(sd_bus_message* message) const
    {
        sd_bus_message_unref(message);
    }
};

using MessagePtr = std::unique_ptr<sd_bus_message, Unref>;

/** The library's connection, which uses the recording seam, and the test's. */
class DirectConnection
{
  private:
    RecordingBus recorder;
    std::unique_ptr<sd_bus, Unref> near;
    std::unique_ptr<sd_bus, Unref> far;

  public:
    DirectConnection();
    ~DirectConnection();
    DirectConnection(const DirectConnection&) = delete;
    DirectConnection& operator=(const DirectConnection&) = delete;

    /** The library's connection. */
    sdbusplus::bus_t bus;

    /** The test's connection. */
    sd_bus* peer();

    /** The library's connection without the seam. */
    sd_bus* raw();

    /** Processes both connections until neither has anything left to do. */
    void settle();

    /** Sends a signal from the test's connection, with arguments as for
     *  sd_bus_message_append(), and processes both connections. */
    template <typename... Args>
    void signal(const char* path, const char* interface, const char* member,
                const char* types, Args... args)
    {
        sd_bus_emit_signal(far.get(), path, interface, member, types, args...);
        settle();
    }

    /** Calls a method of the library, with arguments as for
     *  sd_bus_message_append().
     *
     *  @return the reply, which may be an error */
    template <typename... Args>
    MessagePtr call(const char* path, const char* interface, const char* member,
                    const char* types, Args... args)
    {
        MessagePtr reply;
        sd_bus_call_method_async(far.get(), nullptr, nullptr, path, interface,
                                 member, keepReply, &reply, types, args...);
        settle();
        return reply;
    }

  private:
    static int keepReply(sd_bus_message* message, void* context,
                         sd_bus_error* error);
};

} // namespace healthintf::test
