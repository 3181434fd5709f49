#pragma once

/** @file A service's connection to the bus. */

#include "bus_loss.hpp"
#include "event_loop.hpp"

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <functional>
#include <list>
#include <memory>
#include <string>

namespace healthintf::services
{

/** This thread's default connection, run by an event loop. Failures throw
 *  std::system_error naming the call. */
class Connection
{
  public:
    /** @param[in] loop runs the connection, and ends with an error when the
     *             connection is lost; must outlive this object */
    explicit Connection(EventLoop& loop);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    sdbusplus::bus_t& bus()
    {
        return connection;
    }

    const std::string& uniqueName() const
    {
        return name;
    }

    /** Owns a name until the connection ends.
     *
     *  @throws std::system_error with EEXIST when another process owns it */
    void requestName(const char* wanted);

    /** Calls @p answered once the process behind a name has done what it was
     *  about to do, or is gone. */
    void afterWorkOf(const std::string& peer, std::function<void()> answered);

    /** Waits until the bus has passed on what was sent so far. */
    void waitForBus();

  private:
    struct Close
    {
        void operator()(sd_bus* bus) const
        {
            sd_bus_flush_close_unref(bus);
        }
    };

    struct Unref
    {
        void operator()(sd_bus_slot* slot) const
        {
            sd_bus_slot_unref(slot);
        }
    };

    /** A peer that has been asked whether it is through. */
    struct Question
    {
        Connection* connection;
        std::function<void()> answered;
        std::unique_ptr<sd_bus_slot, Unref> slot;
    };

    static int takeAnswer(sd_bus_message* message, void* context,
                          sd_bus_error* error);

    std::unique_ptr<sd_bus, Close> raw;
    sdbusplus::bus_t connection;
    std::string name;
    host::BusLossWatch loss;
    std::list<Question> questions;
};

} // namespace healthintf::services
