// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The D-Bus object of healthmgr from which daemons request nodes. */

#include "../common/connection.hpp"
#include "hosted_nodes.hpp"
#include "peer_users.hpp"

#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace healthintf::healthmgr
{

/** Serves AddHealthObject(s key). Replies with a D-Bus error to an invalid key,
 *  and when the node cannot be made or exceeds its user's limit. */
class NodeRequests
{
  public:
    /** Takes the connection that has requested a node and got it. */
    using OnRequest = std::function<void(const std::string& asker)>;

    /** The first three arguments must outlive this object.
     *
     *  @throws sdbusplus::exception::SdBusError when the object is refused */
    NodeRequests(
        services::Connection& connection, HostedNodes& nodes, PeerUsers& users,
        OnRequest onRequest = [](const std::string&) {});

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error);

    int hostFor(sd_bus_message* message, const std::string& key,
                std::optional<uint32_t> user);

    HostedNodes& nodes;
    PeerUsers& users;
    OnRequest onRequest;
    sdbusplus::server::interface_t interface;
};

} // namespace healthintf::healthmgr
