#pragma once

/** @file Keeps the health tree whole: every node has a parent, no node
 *  outlives its process, and no node has two owners. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/retry.hpp"
#include "../common/subscription.hpp"
#include "data_cache/withdrawal.hpp"
#include "health_comparison.hpp"
#include "hosted_nodes.hpp"
#include "peer_users.hpp"
#include "record_announcer.hpp"
#include "reported_health.hpp"
#include "segment_watch.hpp"
#include "update_filter.hpp"

#include <sdbusplus/message.hpp>

#include <optional>
#include <set>
#include <string>

namespace healthintf::healthmgr
{

/** Watches the nodes of all processes.
 *
 *  - A node whose parent is missing gets one, held here.
 *  - What a process leaves behind that dies is withdrawn, and the parents are
 *    told health 0.
 *  - A node held here gives way to that of a daemon with the same key, and
 *    goes when nobody needs it.
 *  - What somebody made up of a node is taken back.
 *  - A node held here whose health is not that of its children's records is
 *    put right. */
class TreeKeeper
{
  public:
    /** Brings the tree in order as it stands and keeps it so. All arguments
     *  must outlive this object.
     *
     *  @throws std::system_error when the bus refuses a match rule */
    TreeKeeper(services::Connection& connection, services::EventLoop& loop,
               HostedNodes& nodes, PeerUsers& users);

    TreeKeeper(const TreeKeeper&) = delete;
    TreeKeeper& operator=(const TreeKeeper&) = delete;

    /** Whether the dead are withdrawn, or have been waiting for it no longer
     *  than half a minute. */
    bool isProgressing() const;

  private:
    void takeUpdate(sdbusplus::message_t& message);
    void meet(const std::string& sender);
    void askAboutEnds(const std::string& sender);
    void completeAbove(const std::string& key);
    void replaceEnded(const std::string& key);
    void takeNameLoss(sdbusplus::message_t& message);

    void watchSegments();
    void keepWatching();
    void askForRecords(const HealthComparison::Healths& records);
    bool reconcile();
    bool withdrawTheDead();
    bool hostMissingParents();
    void giveWay(const std::string& key);
    void compareSoon();
    void compareHealths();
    void tellIfUntrue(const ReportedHealth::Healths& reports);

    services::Connection& connection;
    services::EventLoop& loop;
    HostedNodes& nodes;
    PeerUsers& users;
    ReportedHealth reported;
    RecordAnnouncer announcer;
    host::Withdrawal withdrawal;
    HealthComparison comparison;
    /** Nodes that were asked for their records. */
    std::set<std::string> askedForRecords;
    /** When a change was last heard of. */
    services::Retry::Clock::time_point lastChange;
    bool comparing = false;
    services::EventSource comparisonDue;
    services::Retry hosting;
    services::Retry reconciliation;
    /** Nothing when the data cache's folder cannot be watched. */
    std::optional<SegmentWatch> segments;
    /** Looks at the folder again and again if it cannot be watched. */
    services::EventSource looking;
    bool looksOften = false;
    services::EventSource idleNodes;
    UpdateFilter filter;
    services::Subscription updates;
    services::Subscription nameLosses;
};

} // namespace healthintf::healthmgr
