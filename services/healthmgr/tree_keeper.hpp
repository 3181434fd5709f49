#pragma once

/** @file Keeps the health tree whole: every node has a parent, no node
 *  outlives its process, and no node has two owners. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "hosted_nodes.hpp"
#include "once_in_a_row.hpp"
#include "process_watch.hpp"
#include "told_nodes.hpp"

#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>

#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** Watches the nodes of all processes.
 *
 *  - A node whose parent is missing gets one, held here.
 *  - What a process leaves behind that dies is withdrawn, and the parents are
 *    told health 0.
 *  - A node held here gives way to that of a daemon with the same key. */
class TreeKeeper
{
  public:
    /** Brings the tree in order as it stands and keeps it so. All arguments
     *  must outlive this object.
     *
     *  @throws sdbusplus::exception::SdBusError when the bus refuses a match
     */
    TreeKeeper(services::Connection& connection, services::EventLoop& loop,
               HostedNodes& nodes);

    TreeKeeper(const TreeKeeper&) = delete;
    TreeKeeper& operator=(const TreeKeeper&) = delete;

  private:
    void takeUpdate(sdbusplus::message_t& message);
    void takeEnd(const std::string& sender, const std::string& key);
    void takeNameLoss(sdbusplus::message_t& message);

    void reconcile();
    void withdrawTheDead();
    void noteUnwatched(std::size_t count, int error);
    void hostMissingParents();
    void withdraw(const host::ProcessIdentity& process);
    void giveWay(const std::string& key);
    void tellAsRecorded(std::vector<std::string> keys);
    void announce(const std::string& key, uint32_t health);

    services::Connection& connection;
    HostedNodes& nodes;
    ProcessWatch processes;
    host::OnceInARow watchFailures;
    services::EventSource reconciliation;
    /** Looks again and again at what cannot be watched. Made ahead, as it takes
     *  a file descriptor itself. */
    services::EventSource looking;
    ToldNodes told;
    sdbusplus::bus::match_t updates;
    sdbusplus::bus::match_t nameLosses;
};

} // namespace healthintf::healthmgr
