// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A connection that replies to the search for nodes. */

#include "bus_client.hpp"
#include "service_on_bus.hpp"

#include <systemd/sd-bus.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace healthintf::test
{

/** A connection that gives any reply to the search for nodes. */
class ListingPeer
{
  public:
    using Answer = std::function<int(sd_bus_message* call)>;

    explicit ListingPeer(Answer answer) : answer(std::move(answer))
    {
        sd_bus_attach_event(client.get(), ServiceOnBus::instance().loop.get(),
                            SD_EVENT_PRIORITY_NORMAL);
        sd_bus_slot* raw = nullptr;
        sd_bus_add_object(
            client.get(), &raw, "/com/vexa/olvar/health",
            [](sd_bus_message* call, void* peer, sd_bus_error*) {
                return static_cast<ListingPeer*>(peer)->answer(call);
            },
            this);
        slot.reset(raw);
    }
    ~ListingPeer()
    {
        sd_bus_detach_event(client.get());
    }
    ListingPeer(const ListingPeer&) = delete;
    ListingPeer& operator=(const ListingPeer&) = delete;

    /** Waits until the bus has delivered the replies. */
    void catchUp()
    {
        client.catchUp();
    }

    /** Replies with @p count nodes below @p above, none of which exists. */
    static int list(sd_bus_message* call, const std::string& above,
                    std::size_t count)
    {
        sd_bus_message* raw = nullptr;
        sd_bus_message_new_method_return(call, &raw);
        const MessagePtr reply(raw);
        sd_bus_message_open_container(raw, 'a', "{oa{sa{sv}}}");
        for (std::size_t i = 0; i < count; ++i)
        {
            const std::string key = above + "/n" + std::to_string(i);
            sd_bus_message_append(raw, "{oa{sa{sv}}}", key.c_str(), 1,
                                  "com.vexa.olvar.healthmgr.HealthStatus", 0);
        }
        sd_bus_message_close_container(raw);
        return sd_bus_message_send(raw);
    }

  private:
    BusClient client;
    Answer answer;
    SlotPtr slot;
};

} // namespace healthintf::test
