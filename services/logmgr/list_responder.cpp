// SPDX-License-Identifier: Apache-2.0
#include "list_responder.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"
#include "sel_messages.hpp"

#include <sys/socket.h>

#include <fcntl.h>
#include <poll.h>

#include <cerrno>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace healthintf::logmgr
{

namespace log = services::log;
using host::checkBus;

namespace
{

/** Limits the lines about failed calls, which any client can cause. */
constinit host::LineLimit answerFailureLines;

/** Size of the socket's send buffer in bytes. libsystemd asks for 8 MiB, and
 *  the answer to an addition would have to wait until the bus has read all of
 *  that. */
constexpr int sendBuffer = 64 * 1024;

/** After so many refused calls one list is sent, even if more calls wait: a
 *  flood of calls must not keep the lists of others waiting. */
constexpr std::size_t refusalsBetweenLists = 16;

/** How many errors may wait for the bus to take them; each is a message of less
 *  than 1 KiB. */
constexpr std::size_t maxRefusals = 8192;

constexpr const char* driver = "org.freedesktop.DBus";
constexpr const char* driverPath = "/org/freedesktop/DBus";
constexpr const char* lostNamesRule =
    "type='signal',sender='org.freedesktop.DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg2=''";

int getSocket(sd_bus* bus)
{
    const int fd = sd_bus_get_fd(bus);
    checkBus("sd_bus_get_fd", fd);
    return fd;
}

int duplicateDescriptor(int fd)
{
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0)
    {
        throw std::system_error(errno, std::generic_category(),
                                "F_DUPFD_CLOEXEC");
    }
    return copy;
}

void limitSendBuffer(int fd)
{
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &sendBuffer,
                   sizeof(sendBuffer)) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "SO_SNDBUF");
    }
}

void answer(const ListCall& call, const EventLog& events)
{
    sd_bus_message* message = call.message.get();
    try
    {
        if (call.generation)
        {
            replyWithList(
                message, events,
                events.listFrom(*call.generation, call.first, call.limit));
        }
        else
        {
            replyWithList(
                message,
                events.list(static_cast<uint16_t>(call.first), call.limit));
        }
    }
    catch (const Refusal& e)
    {
        sd_bus_reply_method_errorf(message, errorName(e.kind()), "%s",
                                   e.what());
    }
    catch (const std::exception& e)
    {
        if (answerFailureLines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
        sd_bus_reply_method_errorf(message, SD_BUS_ERROR_FAILED, "%s",
                                   e.what());
    }
}

} // namespace

ListResponder::ListResponder(services::EventLoop& loop,
                             services::Connection& connection,
                             const EventLog& events) :
    bus(connection.get()),
    events(events), socket(duplicateDescriptor(getSocket(bus))),
    writable(loop.onWritable(socket.get(), [this] {
        answerNext();
    }))
{
    limitSendBuffer(socket.get());
    services::EventLoop::enable(writable, false);
    sd_bus_slot* slot = nullptr;
    checkBus("sd_bus_add_match_async",
             sd_bus_add_match_async(bus, &slot, lostNamesRule, forgetLostName,
                                    nullptr, this));
    lostNameMatch.reset(slot);
}

void ListResponder::enqueue(ListCall call)
{
    sd_bus_message* message = call.message.get();
    const char* sender = sd_bus_message_get_sender(message);
    if (sender == nullptr)
    {
        throw std::runtime_error("a call without a sender");
    }
    if (sd_bus_message_get_expect_reply(message) <= 0)
    {
        return;
    }
    MessagePtr tooMany(sd_bus_message_ref(message));
    const bool known = queue.knows(sender);
    if (!queue.add(sender, std::move(call)))
    {
        refuse(std::move(tooMany));
    }
    else if (!known)
    {
        askForUser(sender);
    }
    updateWakeup();
}

bool ListResponder::canSend() const
{
    uint64_t unsent = 0;
    pollfd taken{socket.get(), POLLOUT, 0};
    return sd_bus_get_n_queued_write(bus, &unsent) >= 0 && unsent == 0 &&
           poll(&taken, 1, 0) == 1 && (taken.revents & POLLOUT) != 0;
}

void ListResponder::updateWakeup()
{
    services::EventLoop::enable(writable, queue.ready() || !refused.empty());
}

void ListResponder::refuse(MessagePtr call)
{
    if (refused.size() < maxRefusals)
    {
        refused.push_back(std::move(call));
    }
    if (++refusals % refusalsBetweenLists == 0)
    {
        answerNext();
    }
}

void ListResponder::sendRefusals()
{
    for (std::size_t sent = 0;
         sent < refusalsBetweenLists && !refused.empty() && canSend(); ++sent)
    {
        sd_bus_reply_method_errorf(
            refused.front().get(), SD_BUS_ERROR_LIMITS_EXCEEDED,
            "too many calls for lists wait: at most %zu on a connection "
            "and %zu of a user",
            maxListsOfSender, maxListsOfUser);
        refused.pop_front();
    }
}

void ListResponder::askForUser(const std::string& sender)
{
    UserQuery& query = userQueries[sender];
    query.responder = this;
    query.sender = sender;
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_call_method_async(
        bus, &slot, driver, driverPath, driver, "GetConnectionUnixUser",
        receiveUser, &query, "s", sender.c_str());
    query.slot.reset(slot);
    if (result < 0)
    {
        userQueries.erase(sender);
        queue.forget(sender);
        checkBus("sd_bus_call_method_async", result);
    }
}

int ListResponder::receiveUser(sd_bus_message* reply, void* userQuery,
                               sd_bus_error* /*error*/)
{
    auto* query = static_cast<UserQuery*>(userQuery);
    ListResponder& self = *query->responder;
    const std::string sender = std::move(query->sender);
    self.userQueries.erase(sender);
    uint32_t user = 0;
    if (sd_bus_message_is_method_error(reply, nullptr) > 0 ||
        sd_bus_message_read(reply, "u", &user) <= 0)
    {
        // The sender has disconnected, or its next call asks again.
        self.queue.forget(sender);
        return 0;
    }
    for (ListCall& call : self.queue.setUser(sender, user))
    {
        self.refuse(std::move(call.message));
    }
    self.updateWakeup();
    return 0;
}

int ListResponder::forgetLostName(sd_bus_message* signal, void* self,
                                  sd_bus_error* /*error*/)
{
    const char* name = nullptr;
    if (sd_bus_message_read(signal, "s", &name) > 0)
    {
        auto* responder = static_cast<ListResponder*>(self);
        responder->userQueries.erase(name);
        responder->queue.forget(name);
    }
    return 0;
}

void ListResponder::answerNext()
{
    sendRefusals();
    if (canSend())
    {
        if (const auto call = queue.next())
        {
            answer(*call, events);
        }
    }
    updateWakeup();
}

} // namespace healthintf::logmgr
