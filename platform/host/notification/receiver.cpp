// SPDX-License-Identifier: Apache-2.0
#include "receiver.hpp"

#include "../config_manager/change_record.hpp"
#include "../healthmgr/protocol.hpp"
#include "../host_log.hpp"
#include "../line_limit.hpp"
#include "protocol.hpp"

#include <platform/signal_blocker.hpp>

#include <systemd/sd-event.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace healthintf::host
{
namespace
{

/** Limits the lines about messages, which any process may send. */
constinit LineLimit messageLines;

/** The receiver for later subscriptions of this thread. A plain pointer, as
 *  subscriptions may end after the thread's objects are destroyed. */
thread_local Receiver* threadReceiver = nullptr;

/** Whether this thread's default connection is attached to an event loop. */
bool defaultBusIsInALoop()
{
    return sd_bus_default(nullptr) > 0 &&
           sd_bus_get_event(openDefaultBus().get()) != nullptr;
}

/** Whether this thread has an event loop to which its default connection is not
 *  attached. */
bool needsOwnBus()
{
    return sd_event_default(nullptr) > 0 && !defaultBusIsInALoop();
}

/** Opens a connection and attaches it to this thread's event loop. */
BusPtr openOwnBus()
{
    sd_bus* opened = nullptr;
    checkBus("unable to connect to the bus", sd_bus_open(&opened));
    BusPtr bus(opened);
    sd_event* loop = nullptr;
    checkBus("sd_event_default", sd_event_default(&loop));
    const int attached =
        sd_bus_attach_event(opened, loop, SD_EVENT_PRIORITY_NORMAL);
    sd_event_unref(loop);
    checkBus("sd_bus_attach_event", attached);
    return bus;
}

/** One notification; points into the message that brought it. */
struct Notification
{
    const char* name = nullptr;
    const uint8_t* data = nullptr;
    std::size_t length = 0;
};

/** Reads a notification from a message.
 *
 *  @return whether the message is one */
bool read(sd_bus_message* message, Notification& notification)
{
    const void* data = nullptr;
    if (sd_bus_message_has_signature(message, notificationSignature) <= 0 ||
        sd_bus_message_read_basic(message, 's', &notification.name) <= 0 ||
        sd_bus_message_read_array(message, 'y', &data, &notification.length) <
            0)
    {
        return false;
    }
    // libsystemd gives a pointer that must not be read when the array is empty.
    notification.data =
        notification.length == 0 ? nullptr : static_cast<const uint8_t*>(data);
    return true;
}

/** The name of who made a change; empty for other notifications, null when the
 *  record of a change is malformed. */
const char* findChangeSource(const Notification& notification)
{
    return std::string_view(notification.name).starts_with(changePrefix)
               ? findSource(notification.data, notification.length)
               : "";
}

void call(const Subscription& subscription, const char* source,
          const Notification& notification)
{
    try
    {
        subscription.callback(source, notification.name, notification.data,
                              notification.length, subscription.context);
    }
    catch (const std::exception& e)
    {
        if (messageLines.admits())
        {
            HOST_LOG(log::warning, "EXCEPTION %s.%d.%s: a callback of %s: %s",
                     notification.name, e.what());
        }
    }
    catch (...)
    {
        if (messageLines.admits())
        {
            HOST_LOG(log::warning,
                     "EXCEPTION %s.%d.%s: a callback of %s threw something",
                     notification.name);
        }
    }
}

const char* describeSender(sd_bus_message* message)
{
    const char* sender = sd_bus_message_get_sender(message);
    return sender != nullptr ? sender : "an unknown sender";
}

} // namespace

std::shared_ptr<Receiver> Receiver::ofThisThread()
{
    if (threadReceiver != nullptr)
    {
        if (threadReceiver->isOpen())
        {
            return threadReceiver->shared_from_this();
        }
        // sd_bus_default() opens no new connection while anybody holds the
        // closed one.
        threadReceiver->close();
    }
    auto made = std::make_shared<Receiver>();
    threadReceiver = made.get();
    return made;
}

Receiver::Receiver() : ownBus(needsOwnBus())
{
    const SignalBlocker blocker;
    bus = ownBus ? openOwnBus() : openDefaultBus();
    sd_bus_slot* slot = nullptr;
    checkBus("unable to listen on the bus",
             sd_bus_match_signal(bus.get(), &slot, healthmgrService,
                                 notificationPath, notificationInterface,
                                 notificationMember, take, this));
    match.reset(slot);
    loss.emplace(bus.get());
}

Receiver::~Receiver()
{
    if (threadReceiver == this)
    {
        threadReceiver = nullptr;
    }
    close();
}

Subscription* Receiver::add(const char* name, LQOVS_callback callback,
                            void* context)
{
    auto made = std::make_shared<Subscription>(
        Subscription{name, callback, context, nullptr});
    Subscription* subscription =
        subscriptions.emplace(name, std::move(made))->second.get();
    subscription->receiver = shared_from_this();
    return subscription;
}

void Receiver::remove(Subscription* subscription)
{
    const auto receiver = std::exchange(subscription->receiver, nullptr);
    auto& all = receiver->subscriptions;
    const auto [first, last] = all.equal_range(subscription->name);
    const auto found = std::find_if(first, last, [=](const auto& entry) {
        return entry.second.get() == subscription;
    });
    all.erase(found);
}

bool Receiver::isOpen() const
{
    return bus && sd_bus_is_open(bus.get()) > 0;
}

void Receiver::close()
{
    loss.reset();
    match.reset();
    if (bus && ownBus)
    {
        sd_bus_close(bus.get());
    }
    bus.reset();
}

int Receiver::take(sd_bus_message* message, void* context,
                   sd_bus_error* /*error*/) noexcept
{
    try
    {
        static_cast<Receiver*>(context)->deliver(message);
    }
    catch (const std::exception& e)
    {
        if (messageLines.admits())
        {
            HOST_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
    }
    return 0;
}

std::vector<std::shared_ptr<Subscription>>
Receiver::findSubscriptions(std::string_view name) const
{
    std::vector<std::shared_ptr<Subscription>> found;
    const auto [first, last] = subscriptions.equal_range(name);
    std::transform(first, last, std::back_inserter(found),
                   [](const auto& entry) {
                       return entry.second;
                   });
    return found;
}

void Receiver::deliver(sd_bus_message* message)
{
    // The match rule checks the sender of broadcast signals, but a signal sent
    // to this connection alone arrives without it. Notifications are broadcast.
    if (sd_bus_message_get_destination(message) != nullptr)
    {
        return;
    }
    Notification notification;
    if (!read(message, notification))
    {
        if (messageLines.admits())
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: a signal of %s is no notification: dropped",
                     describeSender(message));
        }
        return;
    }
    // Callbacks may add and remove subscriptions, and removing the last one
    // would destroy this object.
    const auto self = shared_from_this();
    const auto due = findSubscriptions(notification.name);
    if (due.empty())
    {
        return;
    }
    const char* source = findChangeSource(notification);
    if (source == nullptr)
    {
        if (messageLines.admits())
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: the record of %s that %s sent is malformed: "
                     "dropped",
                     notification.name, describeSender(message));
        }
        return;
    }
    for (const auto& subscription : due)
    {
        if (subscription->receiver)
        {
            call(*subscription, source, notification);
        }
    }
}

} // namespace healthintf::host
