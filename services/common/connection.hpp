// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A service's connection to the bus. */

#include "bus_loss.hpp"
#include "event_loop.hpp"

#include <platform/bus_handles.hpp>

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::services
{

/** This thread's default connection, processed by an event loop. A call without
 *  a reply after 5 seconds has failed, except listObjects(). Failures throw
 *  std::system_error naming the call. */
class Connection
{
  public:
    /** Waits for the bus, which may take a minute and a half. Signals are not
     *  blocked meanwhile, so a loop that handles them is given them later.
     *
     *  @param[in] loop processes the connection, and exits with an error when
     *             the connection is lost; must outlive this object */
    explicit Connection(EventLoop& loop);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    sdbusplus::bus_t& bus()
    {
        return connection;
    }

    /** The same connection as libsystemd's type. */
    sd_bus* get() const
    {
        return raw.get();
    }

    const std::string& uniqueName() const
    {
        return name;
    }

    /** Owns a name until the connection ends.
     *
     *  @throws std::system_error with EEXIST when another process owns it */
    void requestName(const char* wanted);

    /** Gives up a name that requestName() got, without waiting for the bus. */
    void releaseName(const char* owned) noexcept;

    /** Calls @p onReply once the process behind a name has handled the messages
     *  that reached it before, or is gone. */
    void awaitWork(const std::string& peer, std::function<void()> onReply);

    /** Calls @p onReply once the bus has passed on all messages sent so far. */
    void afterBus(std::function<void()> onReply);

    /** Calls @p onReply with the user of the process behind a unique name; with
     *  nothing when the bus does not know it, for example because the process
     *  is gone. */
    void findUser(const std::string& peer,
                  std::function<void(std::optional<uint32_t>)> onReply);

    /** Calls @p onReply with the names of all connections and services on the
     *  bus; with none when the bus does not answer. */
    void
    listNames(std::function<void(const std::vector<std::string>&)> onReply);

    /** Asks a connection for its objects and waits for the reply as long as the
     *  connection is there: a call that is given up counts on the bus as
     *  unanswered until then.
     *
     *  @param[in] peer its unique name
     *  @param[in] path where its object manager is
     *  @param[in] onReply called with the reply of GetManagedObjects(), or with
     *             an error */
    void listObjects(const std::string& peer, const char* path,
                     std::function<void(sd_bus_message*)> onReply);

    /** Waits until all messages sent so far are written to the bus. */
    void flush();

  private:
    struct Close
    {
        void operator()(sd_bus* bus) const
        {
            sd_bus_flush_close_unref(bus);
        }
    };

    /** A call whose reply is outstanding. */
    struct PendingCall
    {
        Connection* connection;
        /** Called with the reply, which may be an error. */
        std::function<void(sd_bus_message*)> onReply;
        SlotPtr slot;
    };

    /** @param[in] longestWait microseconds; 0 is the usual wait, and
     *             UINT64_MAX waits without end */
    void call(const char* peer, const char* path, const char* interface,
              const char* method, std::function<void(sd_bus_message*)> onReply,
              const char* argument = nullptr, uint64_t longestWait = 0);

    static int takeReply(sd_bus_message* message, void* context,
                         sd_bus_error* error);

    std::unique_ptr<sd_bus, Close> raw;
    sdbusplus::bus_t connection;
    std::string name;
    host::BusLossWatch loss;
    std::list<PendingCall> pendingCalls;
};

} // namespace healthintf::services
