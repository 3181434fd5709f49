// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Limits how many of healthmgr's nodes a user may request, and tells
 *  when they are idle. */

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** The client that requests a node. */
struct Asker
{
    /** The unique name of the client's connection. */
    std::string name;
    uint32_t user = 0;
};

/** One slot for each node of healthmgr, with the client that requested the
 *  node, if any. The root has no slot. */
class NodeSlots
{
  public:
    using Clock = std::chrono::steady_clock;

    struct Bounds
    {
        /** The system bus allows a connection 4096 match rules, and each node
         *  takes three. healthmgr itself needs two; the rest is for the root
         *  and for nodes without a requester. */
        std::size_t nodes = 1360;
        /** Nodes of one user other than root and healthmgr's own user. */
        std::size_t ofOneUser = nodes / 4;
        /** How long a node without children stays. */
        Clock::duration idle = std::chrono::minutes(1);
    };

    /** @param[in] self healthmgr's own user */
    NodeSlots(Bounds bounds, uint32_t self) : bounds(bounds), self(self)
    {}

    bool empty() const
    {
        return slots.empty();
    }

    /** Whether a client may have more nodes.
     *
     *  @param[in] count how many more */
    bool hasRoom(const Asker& asker, std::size_t count) const;

    /** Adds a slot for a node.
     *
     *  @param[in] asker who requested it; nothing when the tree needs it */
    void add(const std::string& key, const std::optional<Asker>& asker);

    void remove(const std::string& key);

    /** Notes that a daemon hosts the node now. Its slot stays, if it has one:
     *  the requester needs the node again when the daemon ends. */
    void lend(const std::string& key);

    /** Notes that healthmgr hosts the node again.
     *
     *  @return whether it was lent */
    bool takeBack(const std::string& key);

    bool contains(const std::string& key) const
    {
        return slots.contains(key);
    }

    /** Whether a client that requested the node is still there. */
    bool hasAsker(const std::string& key) const;

    /** The nodes that are lent to daemons. */
    std::vector<std::string> lent() const;

    /** Notes that a connection is gone. */
    void forget(const std::string& name);

    /** Finds the nodes to remove: their requester is gone, and they have had no
     *  children for the idle time. A node with other nodes below it belongs to
     *  the tree from now on, not to its requester.
     *
     *  @param[in] records the keys of all nodes in all processes
     *  @param[in] needed the keys of nodes that stay, with those above them
     *  @return their keys, children first */
    std::vector<std::string> idle(const std::set<std::string>& records,
                                  const std::set<std::string>& needed,
                                  Clock::time_point now);

  private:
    struct Slot
    {
        /** The user whose limit it counts for; nothing when it belongs to the
         *  tree. */
        std::optional<uint32_t> user;
        /** The connection that needs the node; empty when that is gone. */
        std::string asker;
        std::optional<Clock::time_point> idleSince;
        bool lent = false;
    };

    std::size_t countSlots(uint32_t user) const;

    Bounds bounds;
    uint32_t self;
    // Descending: children before their parents.
    std::map<std::string, Slot, std::greater<>> slots;
};

} // namespace healthintf::healthmgr
