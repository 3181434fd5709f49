// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The nodes that healthmgr hosts itself, because no daemon does. */

#include "../common/growing_pause.hpp"
#include "hosted_faults.hpp"
#include "lost_monitors.hpp"
#include "node_slots.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** Whether any process has a node below a key. */
bool hasNodesBelow(const std::string& key);

/** The nodes of this process by their keys. */
class HostedNodes
{
  public:
    /** @param[in] bus the nodes' connection; must outlive this object
     *  @param[in] bounds how many nodes may be requested, and how long they
     *             stay
     *  @param[in] onDeafNode called when a node stays on the bus without its
     *             subscription, because the bus hung meanwhile: it never hears
     *             its children, and only the end of this process removes it
     *  @param[in] lost the components that are hosted because their daemons
     *             ended without giving them up */
    explicit HostedNodes(
        sdbusplus::bus_t& bus, NodeSlots::Bounds bounds = NodeSlots::Bounds(),
        std::function<void()> onDeafNode = [] {},
        LostMonitors lost = LostMonitors());

    /** The result of a request for a node. */
    enum class Outcome
    {
        /** The node exists now. */
        there,
        /** The node could not be made, which was logged, or was not tried
         *  because another one failed shortly before. */
        failed,
        /** The requester has too many nodes already. */
        overLimit,
    };

    /** Makes the missing nodes among a key and its ancestors, the ancestors
     *  first.
     *
     *  @param[in] key a valid key, see explainInvalidKey()
     *  @param[in] asker who requested it; nothing when the tree needs it */
    Outcome host(const std::string& key,
                 const std::optional<Asker>& asker = std::nullopt);

    /** Whether this process hosts the node of a key. */
    bool hosts(const std::string& key) const;

    /** The hosted nodes whose key has a record of another process now. */
    std::vector<std::string> overtaken() const;

    /** The nodes that should be hosted here but have no record in any process:
     *  the record could not be made or is lost, or the daemon that took the
     *  node over, or that watched the component, has ended. */
    std::vector<std::string> withoutRecord() const;

    /** Removes a node that a daemon has taken over. Its slot stays, so that the
     *  node is made again when the daemon ends. The component has a monitor
     *  again. */
    void lend(const std::string& key);

    /** Notes the nodes that dead processes have left, and reports the faults of
     *  those that are hosted here. The others are to be made:
     *  withoutRecord() has them now. */
    void noteLost(const std::vector<host::LeftNode>& left);

    /** Forgets the lost monitors of components that have a daemon again, and
     *  keeps the others for the next healthmgr. */
    void keepLost();

    /** Takes the fault of a lost monitor back. The node goes if nothing is
     *  below it and no client requested it.
     *
     *  @return whether there was one */
    bool dismissLost(const std::string& key);

    /** Whether healthmgr itself reports a fault of a component. */
    bool hasFault(const std::string& key) const
    {
        return lost.find(key) != nullptr ||
               (faults != nullptr && faults->has(key));
    }

    /** Hosts the components that have other faults of healthmgr, too.
     *
     *  @param[in] others may be null; otherwise they must outlive this object,
     *             or the call that replaces them */
    void holdFor(HostedFaults* others)
    {
        faults = others;
    }

    /** @return null when the node is not hosted here */
    health_namespace::FaultAndHealth* find(const std::string& key) const;

    /** Removes a node, unless it is the root, has a fault of healthmgr, or
     *  nodes below it. */
    void releaseUnneeded(const std::string& key);

    /** Replaces a hosted node by a new one. Without an answer of the bus, the
     *  node stays. */
    Outcome renew(const std::string& key);

    /** Removes a node and its slot. */
    void release(const std::string& key);

    /** Removes the nodes that are not needed any more. */
    void releaseIdle(NodeSlots::Clock::time_point now);

    /** Notes that a connection is gone and needs no node any more. */
    void forget(const std::string& name);

  private:
    bool make(const std::string& key);
    void noteIfDeaf(const std::string& key) const;
    bool hasRoomForRules();
    bool busAnswers();
    Outcome makeAll(const std::vector<std::string>& keys,
                    const std::optional<Asker>& asker);
    void remove(const std::string& key);
    void reportLost(const std::string& key);
    void takeLostBack(const std::string& key);
    void reportOthers(const std::string& key);
    std::vector<std::string> withFaults() const;
    bool knowsRecords(const std::vector<std::string>& missing) const;

    sdbusplus::bus_t& bus;
    NodeSlots slots;
    LostMonitors lost;
    HostedFaults* faults = nullptr;
    std::function<void()> onDeafNode;
    services::GrowingPause pauses;
    /** No node is made before this time. */
    NodeSlots::Clock::time_point pauseEnd;
    // Descending, so that children are destroyed before their parents.
    std::map<std::string, std::unique_ptr<health_namespace::FaultAndHealth>,
             std::greater<>>
        nodes;
    /** The nodes that have the fault of a lost monitor. */
    std::set<std::string> reportedLost;
};

} // namespace healthintf::healthmgr
