// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus interface by which operators hide faults for a time. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/retry.hpp"
#include "peer_users.hpp"
#include "silenced_faults.hpp"
#include "silences.hpp"
#include "user_calls.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>

namespace healthintf::healthmgr
{

/** Serves Add, End and List of silences, ends them when their time has come,
 *  and announces both. It replies when the faults are being hidden or shown and
 *  that is written to the file; a file that cannot be written is logged, and
 *  does not make a call fail. */
class SilenceRequests
{
  public:
    /** Hides the faults of the silences that there are. All arguments must
     *  outlive this object.
     *
     *  @throws sdbusplus::exception::SdBusError when the object is refused */
    SilenceRequests(services::Connection& connection, services::EventLoop& loop,
                    PeerUsers& users, Silences& silences);
    SilenceRequests(const SilenceRequests&) = delete;
    SilenceRequests& operator=(const SilenceRequests&) = delete;

  private:
    static const sd_bus_vtable* table();
    template <auto Member>
    static int handle(sd_bus_message* message, void* context,
                      sd_bus_error* error);
    template <auto Member>
    static int handleForUser(sd_bus_message* message, void* context,
                             sd_bus_error* error);

    void add(sdbusplus::message_t& call, uint32_t user);
    void end(sdbusplus::message_t& call, uint32_t user);
    void list(sdbusplus::message_t& call);

    void look();
    void finish(const Silence& silence, const Members& ended);
    void settle();

    PeerUsers& users;
    Silences& silences;
    SilencedFaults faults;
    sdbusplus::server::interface_t interface;
    /** Writes the file, again and again if that fails. */
    services::Retry saving;
    services::EventSource looking;
};

} // namespace healthintf::healthmgr
