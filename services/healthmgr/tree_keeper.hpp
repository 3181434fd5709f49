// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps the health tree whole: every node has a parent, no node
 *  outlives its process, and no node has two owners. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/object_lifetime.hpp"
#include "../common/retry.hpp"
#include "../common/subscription.hpp"
#include "data_cache/withdrawal.hpp"
#include "health_comparison.hpp"
#include "hosted_nodes.hpp"
#include "missing_nodes.hpp"
#include "node_handover.hpp"
#include "node_search.hpp"
#include "peer_users.hpp"
#include "record_announcer.hpp"
#include "report_comparison.hpp"
#include "reported_health.hpp"
#include "segment_watch.hpp"
#include "update_filter.hpp"

#include <sdbusplus/message.hpp>

#include <chrono>
#include <cstddef>
#include <optional>
#include <set>
#include <string>

namespace healthintf::healthmgr
{

/** Watches the nodes of all processes.
 *
 *  - A missing parent is made and hosted here.
 *  - The nodes of a dead process are withdrawn: their parents are told
 *    health 0.
 *  - A hosted node is removed when a daemon takes its key over, or when it is
 *    not needed any more.
 *  - A report that differs from the node's record is corrected.
 *  - A hosted node whose health is not the worst of its children's records is
 *    repaired. */
class TreeKeeper
{
  public:
    /** The most nodes of a connection that are asked when it lists them. A
     *  process makes all the records that it was refused at the first question
     *  that finds room. */
    static constexpr std::size_t mostAsked = 256;

    /** How often all connections are asked for their nodes, besides the start
     *  and other causes. */
    static constexpr std::chrono::seconds usualSearchPeriod{300};

    /** Repairs the tree now and keeps it whole. All arguments must outlive this
     *  object.
     *
     *  @throws std::system_error when the bus refuses a match rule */
    TreeKeeper(services::Connection& connection, services::EventLoop& loop,
               HostedNodes& nodes, PeerUsers& users,
               std::chrono::seconds searchPeriod = usualSearchPeriod);

    TreeKeeper(const TreeKeeper&) = delete;
    TreeKeeper& operator=(const TreeKeeper&) = delete;

    /** Whether the nodes of dead processes are withdrawn, or have been failing
     *  to be for no longer than half a minute. */
    bool isProgressing() const;

    /** Asks those nodes of a connection for their records that have none. */
    void searchNodesOf(const std::string& peer);

  private:
    void takeUpdate(sdbusplus::message_t& message);
    void meet(const std::string& sender);
    void askAboutEnds(const std::string& sender);
    void takeNameLoss(sdbusplus::message_t& message);

    void watchSegments();
    void keepWatching();
    void askForRecord(const std::string& key);
    void searchForNodes();
    void askNodes(const NodeSearch::Keys& keys);
    void askForRecords(const HealthComparison::Healths& records);
    bool reconcile();
    bool withdrawTheDead();
    void compareSoon();
    void compareHealths();
    void tellIfUntrue(const ReportedHealth::Healths& reports);

    services::Connection& connection;
    services::EventLoop& loop;
    HostedNodes& nodes;
    PeerUsers& users;
    ReportedHealth reported;
    RecordAnnouncer announcer;
    MissingNodes missing;
    NodeHandover handover;
    host::Withdrawal withdrawal;
    HealthComparison comparison;
    ReportComparison reportComparison;
    NodeSearch search;
    /** Whether the root had a record at the last check. */
    bool hasRoot = false;
    /** Nodes that were asked to publish their health again. */
    std::set<std::string> askedForRecords;
    /** When the last change was noticed. */
    services::Retry::Clock::time_point lastChange;
    bool comparing = false;
    services::EventSource comparisonDue;
    services::Retry reconciliation;
    /** Nothing when the data cache's folder cannot be watched. */
    std::optional<SegmentWatch> segments;
    /** Checks the folder every second if it cannot be watched. */
    services::EventSource looking;
    bool looksOften = false;
    services::EventSource idleNodes;
    services::EventSource searching;
    UpdateFilter filter;
    services::Subscription updates;
    services::Subscription nameLosses;
    services::ObjectLifetime lifetime;
};

} // namespace healthintf::healthmgr
