// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Receives notifications for the subscriptions of one thread. */

#include "../bus_calls.hpp"
#include "../bus_loss.hpp"

#include <platform/notification.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

class Receiver;

/** One caller's subscription to the notifications of one name. */
struct Subscription
{
    std::string name;
    LQOVS_callback callback;
    void* context;
    /** Null once the subscription has ended. */
    std::shared_ptr<Receiver> receiver;
};

/** Receives all notifications of a thread on one connection with one match
 *  rule. Destroyed with the thread's last subscription. To be used on its
 *  thread only. */
class Receiver : public std::enable_shared_from_this<Receiver>
{
  public:
    /** Returns the receiver for this thread's next subscription.
     *
     *  @throws std::system_error when the bus cannot be reached */
    static std::shared_ptr<Receiver> ofThisThread();

    /** @throws std::system_error when the bus cannot be reached */
    Receiver();
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /** Adds a subscription.
     *
     *  @return the subscription, valid until remove() */
    Subscription* add(const char* name, LQOVS_callback callback, void* context);

    /** Ends a subscription. Destroys the receiver with the last one. */
    static void remove(Subscription* subscription);

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error) noexcept;
    void deliver(sd_bus_message* message);
    std::vector<std::shared_ptr<Subscription>>
    findSubscriptions(std::string_view name) const;
    bool isOpen() const;
    void close();

    BusPtr bus;
    /** Whether the connection is the receiver's own, not the thread's default
     *  one. */
    bool ownBus;
    SlotPtr match;
    /** Logs the loss of the connection, as components do. */
    std::optional<BusLossWatch> loss;
    /** Sorted by name, and for each name in the order of their addition. */
    std::multimap<std::string, std::shared_ptr<Subscription>, std::less<>>
        subscriptions;
};

} // namespace healthintf::host
