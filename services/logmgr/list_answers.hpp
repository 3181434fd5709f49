#pragma once

/** @file Answers calls of ListEntries and ListLog when nothing more urgent is
 *  to be done. */

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

/** Lets calls wait while there is anything else to do, and while the bus has
 *  not taken what was sent before: an answer to an addition never stands
 *  behind more than one list. */
class ListAnswers
{
  public:
    /** All arguments must outlive this object.
     *
     *  @throws std::system_error when the connection is of no use */
    ListAnswers(services::EventLoop& loop, services::Connection& connection,
                const EventLog& events);
    ListAnswers(const ListAnswers&) = delete;
    ListAnswers& operator=(const ListAnswers&) = delete;

    /** Takes a call, which has its message, and answers it later. A call too
     * many is answered with LimitsExceeded; not at all when thousands of such
     *  answers wait for the bus to take them.
     *
     *  @throws std::exception for a call that makes no sense */
    void take(ListCall call);

  private:
    /** The bus has been asked for the user of a sender. */
    struct Question
    {
        ListAnswers* answers = nullptr;
        std::string sender;
        SlotPtr slot;
    };

    static int takeUser(sd_bus_message* reply, void* question,
                        sd_bus_error* error);
    static int takeLostName(sd_bus_message* signal, void* self,
                            sd_bus_error* error);

    bool canSend() const;
    void noteWork();
    void refuse(MessagePtr call);
    void sendRefusals();
    void askForUser(const std::string& sender);
    void answerNext();

    sd_bus* bus;
    const EventLog& events;
    ListQueue queue;
    /** Calls too many, which the bus has not taken the answers of. */
    std::deque<MessagePtr> refused;
    /** How many there were. */
    std::size_t refusals = 0;
    std::map<std::string, Question> questions;
    SlotPtr lostNames;
    /** The connection's socket once more, as an event loop wants for a second
     *  source. */
    host::FileDescriptor socket;
    services::EventSource writable;
};

} // namespace healthintf::logmgr
