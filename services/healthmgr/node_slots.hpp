#pragma once

/** @file How many nodes of the health manager somebody may ask for, and when
 *  they go again. */

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

/** Whoever asks for a node. */
struct Asker
{
    /** The unique name of its connection. */
    std::string name;
    uint32_t user = 0;
};

/** The nodes that the health manager holds, with who asked for those that were
 *  made on request. The root is none of them. */
class NodeSlots
{
  public:
    using Clock = std::chrono::steady_clock;

    struct Bounds
    {
        /** The system bus allows a connection 4096 match rules, and each node
         *  takes three of them. Two are for what the health manager hears
         *  itself, the rest for the root and for nodes that nobody asked
         *  for. */
        std::size_t nodes = 1360;
        /** Nodes of one user who is neither root nor the manager's own. */
        std::size_t ofOneUser = nodes / 4;
        /** How long a node stays that nothing is below. */
        Clock::duration idle = std::chrono::minutes(1);
    };

    /** @param[in] self the manager's own user */
    NodeSlots(Bounds bounds, uint32_t self) : bounds(bounds), self(self)
    {}

    bool empty() const
    {
        return slots.empty();
    }

    /** Whether somebody may have more nodes.
     *
     *  @param[in] count how many */
    bool hasRoom(const Asker& asker, std::size_t count) const;

    /** Notes a node.
     *
     *  @param[in] asker who asked for it; nobody when the tree needs it */
    void add(const std::string& key, const std::optional<Asker>& asker);

    void remove(const std::string& key);

    /** Notes that a node is not held here now, because a daemon has it. Its
     *  slot stays, if it has one: who asked for the node needs it when the
     *  daemon ends. */
    void lend(const std::string& key);

    /** Notes that a node is held here again.
     *
     *  @return whether it was lent */
    bool takeBack(const std::string& key);

    bool contains(const std::string& key) const
    {
        return slots.contains(key);
    }

    /** The nodes that were lent. */
    std::vector<std::string> lent() const;

    /** Notes that a connection is gone. */
    void forget(const std::string& name);

    /** Finds the nodes that may go, as nothing has been below them for long,
     *  and who asked for them is gone. One that is below something else than
     *  such nodes is the tree's own from now on.
     *
     *  @param[in] records the keys of all nodes in all processes
     *  @return their keys, children first */
    std::vector<std::string> idle(const std::set<std::string>& records,
                                  Clock::time_point now);

  private:
    struct Slot
    {
        /** Whose account it is on; nobody's when it is the tree's own. */
        std::optional<uint32_t> user;
        /** The connection that keeps it; empty when it is gone. */
        std::string asker;
        std::optional<Clock::time_point> idleSince;
        bool lent = false;
    };

    std::size_t countOf(uint32_t user) const;

    Bounds bounds;
    uint32_t self;
    // Children before their parents.
    std::map<std::string, Slot, std::greater<>> slots;
};

} // namespace healthintf::healthmgr
