// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Answers calls of ListEntries and ListLog when nothing more urgent
 *  waits. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "bus_calls.hpp"
#include "event_log.hpp"
#include "list_queue.hpp"
#include "storage/file_descriptor.hpp"

#include <systemd/sd-bus.h>

#include <cstddef>
#include <deque>
#include <map>
#include <string>

namespace healthintf::logmgr
{

/** Delays list calls while the event loop has other work, and while the bus has
 *  not taken earlier messages. So at most one list is sent ahead of the answer
 *  to an addition. */
class ListResponder
{
  public:
    /** All arguments must outlive this object.
     *
     *  @throws std::system_error when the connection has no socket or the match
     *          rule is refused */
    ListResponder(services::EventLoop& loop, services::Connection& connection,
                  const EventLog& events);
    ListResponder(const ListResponder&) = delete;
    ListResponder& operator=(const ListResponder&) = delete;

    /** Queues a call and answers it later. A call beyond the limits of its
     *  sender or user gets the error LimitsExceeded, and no answer when
     *  thousands of such errors wait for the bus to take them.
     *
     *  @throws std::exception when the call has no sender, or the bus cannot be
     *          asked for the sender's user */
    void enqueue(ListCall call);

  private:
    /** A pending question to the bus for a sender's user. */
    struct UserQuery
    {
        ListResponder* responder = nullptr;
        std::string sender;
        SlotPtr slot;
    };

    static int receiveUser(sd_bus_message* reply, void* userQuery,
                           sd_bus_error* error);
    static int forgetLostName(sd_bus_message* signal, void* self,
                              sd_bus_error* error);

    bool canSend() const;
    void updateWakeup();
    void refuse(MessagePtr call);
    void sendRefusals();
    void askForUser(const std::string& sender);
    void answerNext();

    sd_bus* bus;
    const EventLog& events;
    ListQueue queue;
    /** Calls beyond the limits, whose errors are not sent yet. */
    std::deque<MessagePtr> refused;
    /** How many calls were refused so far. */
    std::size_t refusals = 0;
    std::map<std::string, UserQuery> userQueries;
    SlotPtr lostNameMatch;
    /** A duplicate of the connection's socket: an event loop takes each
     *  descriptor only once. */
    host::FileDescriptor socket;
    services::EventSource writable;
};

} // namespace healthintf::logmgr
