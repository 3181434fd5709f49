#pragma once

/** @file Receives notifications for the subscriptions of one thread. */

#include "../bus_calls.hpp"
#include "../bus_loss.hpp"

#include <platform/notification.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace healthintf::host
{

class Receiver;

/** One caller's wish for the notifications of one name. */
struct Subscription
{
    std::string name;
    LQOVS_callback callback;
    void* context;
    /** Null once the subscription has ended. */
    std::shared_ptr<Receiver> receiver;
};

/** A connection and one match rule on it, which is all that a thread's
 *  subscriptions cost. Ends with the last of them. Belongs to its thread. */
class Receiver : public std::enable_shared_from_this<Receiver>
{
  public:
    /** The receiver that this thread's next subscription joins.
     *
     *  @throws std::system_error when the bus cannot be reached */
    static std::shared_ptr<Receiver> ofThisThread();

    /** @throws std::system_error when the bus cannot be reached */
    Receiver();
    ~Receiver();
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /** @return the subscription, which lives until remove() */
    Subscription* add(const char* name, LQOVS_callback callback, void* context);

    /** Ends a subscription; the receiver may end with it. */
    static void remove(Subscription* subscription);

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error) noexcept;
    void deliver(sd_bus_message* message);
    bool isOpen() const;
    void close();

    BusPtr bus;
    /** Whether nobody else has the connection. */
    bool ownBus;
    SlotPtr match;
    /** What a daemon of a component says when the bus goes away. */
    std::optional<BusLossWatch> loss;
    /** In the order of their names, and for each name as they were added. */
    std::multimap<std::string, std::shared_ptr<Subscription>, std::less<>>
        subscriptions;
};

} // namespace healthintf::host
