// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps made-up health updates out of the tree. */

#include "../common/connection.hpp"
#include "../common/message_filter.hpp"
#include "failure_log.hpp"
#include "hosted_nodes.hpp"
#include "record_announcer.hpp"

#include <sdbusplus/message.hpp>

#include <cstdint>
#include <functional>
#include <string>

namespace healthintf::healthmgr
{

/** What TreeKeeper does about updates that are kept from their parents. */
struct UpdateHandlers
{
    /** Makes the node of a key without a record again, if there are nodes below
     *  it. */
    std::function<void(const std::string& key)> replace;
    /** Handles the report of a node's end, or of a node without a record, that
     *  is kept from its parent. */
    std::function<void(sdbusplus::message_t& message)> take;
};

/** Checks every health update before the nodes of this process hear it. They do
 *  not hear an update that differs from the child's record, whose child is not
 *  a valid key, or whose parent is not the child's parent. In the last two
 *  cases a parent in another process is told health 0 at once, and nothing is
 *  remembered. */
class UpdateFilter
{
  public:
    /** All arguments but the last must outlive this object.
     *
     *  @throws std::system_error when the connection refuses the filter */
    UpdateFilter(services::Connection& connection, HostedNodes& nodes,
                 RecordAnnouncer& announcer, UpdateHandlers handlers);

  private:
    bool refuses(sd_bus_message* message);
    bool refusesEnd(sd_bus_message* message, const char* parent,
                    const char* child);
    bool refusesUntrue(sd_bus_message* message, const char* parent,
                       const char* child, uint32_t health);
    void take(sd_bus_message* message) const;
    bool isHeardBy(const char* parent) const;
    void noteRefusal(sd_bus_message* message);

    services::Connection& connection;
    HostedNodes& nodes;
    RecordAnnouncer& announcer;
    UpdateHandlers handlers;
    host::FailureLog refusals;
    services::MessageFilter filter;
};

} // namespace healthintf::healthmgr
