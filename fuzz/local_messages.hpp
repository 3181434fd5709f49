// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Messages that are read in the process that has written them. */

#include "direct_connection.hpp"
#include "message_body.hpp"

#include <systemd/sd-bus.h>

#include <memory>

namespace healthintf::test
{

/** Makes messages without a bus. */
class LocalMessages
{
  public:
    LocalMessages()
    {
        sd_bus* made = nullptr;
        orThrow(sd_bus_new(&made), "sd_bus_new");
        bus.reset(made);
        // sd-bus creates messages only for a connection that has been started.
        sd_bus_set_address(made, "unix:path=/nonexistent");
        sd_bus_start(made);
    }

    /** An empty message. */
    MessagePtr make() const
    {
        sd_bus_message* made = nullptr;
        orThrow(sd_bus_message_new_signal(bus.get(), &made, "/a", "a.b", "C"),
                "message");
        return MessagePtr(made);
    }

    /** Ends the writing of a message, which can be read then. */
    static void seal(const MessagePtr& message)
    {
        constexpr uint64_t serial = 1;
        orThrow(sd_bus_message_seal(message.get(), serial, 0), "seal");
        orThrow(sd_bus_message_rewind(message.get(), 1), "rewind");
    }

  private:
    std::unique_ptr<sd_bus, Unref> bus;
};

} // namespace healthintf::test
