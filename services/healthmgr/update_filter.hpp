#pragma once

/** @file Keeps health updates that no node sends out of the tree. */

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

/** What else is to be done about the end of a node. */
struct EndHandlers
{
    /** Makes the node of a key that has no record any more, if others are below
     *  it. */
    std::function<void(const std::string& key)> replace;
    /** Takes a node's last word that is kept from its parent. */
    std::function<void(sdbusplus::message_t& message)> take;
};

/** Looks at every health update before the nodes of this process hear it. One
 *  that the child's record does not confirm, whose child is no key, or whose
 *  parent is not the child's, they do not hear. Of the last two, a parent in
 * another process is told at once what the records say: of nothing of it is a
 * note kept. */
class UpdateFilter
{
  public:
    /** All arguments but the last must outlive this object.
     *
     *  @throws std::system_error when the connection takes no filter */
    UpdateFilter(services::Connection& connection, HostedNodes& nodes,
                 RecordAnnouncer& announcer, EndHandlers ends);

  private:
    bool refuses(sd_bus_message* message);
    bool refusesEnd(sd_bus_message* message, const char* parent,
                    const char* child);
    bool refusesUntrue(const char* parent, const char* child, uint32_t health);
    bool isHeardBy(const char* parent) const;
    void noteRefusal(sd_bus_message* message);

    services::Connection& connection;
    HostedNodes& nodes;
    RecordAnnouncer& announcer;
    EndHandlers ends;
    host::FailureLog refusals;
    services::MessageFilter filter;
};

} // namespace healthintf::healthmgr
