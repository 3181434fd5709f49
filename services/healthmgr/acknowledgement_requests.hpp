// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus interface by which operators acknowledge faults. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/retry.hpp"
#include "../common/subscription.hpp"
#include "acknowledgements.hpp"
#include "peer_users.hpp"
#include "user_calls.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <optional>
#include <string>

namespace healthintf::healthmgr
{

/** Serves Acknowledge, Withdraw and List, withdraws acknowledgements whose
 *  faults are gone, and announces both. It replies when the file is written; a
 *  file that cannot be written is logged, and does not make a call fail. */
class AcknowledgementRequests
{
  public:
    /** All arguments must outlive this object.
     *
     *  @throws sdbusplus::exception::SdBusError when the object is refused */
    AcknowledgementRequests(services::Connection& connection,
                            services::EventLoop& loop, PeerUsers& users,
                            Acknowledgements& acknowledgements);
    AcknowledgementRequests(const AcknowledgementRequests&) = delete;
    AcknowledgementRequests& operator=(const AcknowledgementRequests&) = delete;

  private:
    static const sd_bus_vtable* table();
    template <auto Member>
    static int handle(sd_bus_message* message, void* context,
                      sd_bus_error* error);
    template <auto Member>
    static int handleForUser(sd_bus_message* message, void* context,
                             sd_bus_error* error);

    void acknowledge(sdbusplus::message_t& call, uint32_t user);
    void withdraw(sdbusplus::message_t& call, uint32_t user);
    void list(sdbusplus::message_t& call);

    void removeGone();
    void settle();
    void listen();
    void lookSoon();

    services::Connection& connection;
    PeerUsers& users;
    Acknowledgements& acknowledgements;
    sdbusplus::server::interface_t interface;
    /** Writes the file, again and again if that fails. */
    services::Retry saving;
    services::EventSource looking;
    /** Whether it was asked for by an event. */
    bool looksSoon = false;
    /** While there are acknowledgements. */
    std::optional<services::Subscription> removals;
    std::optional<services::Subscription> nameLosses;
};

} // namespace healthintf::healthmgr
