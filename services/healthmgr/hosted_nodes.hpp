#pragma once

/** @file The nodes that the health manager holds itself, because no daemon
 *  does. */

#include "../common/growing_pause.hpp"
#include "node_slots.hpp"

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** How many levels below the root a key may lie. */
inline constexpr std::size_t maxDepth = 32;

/** How many bytes a key may have: a record's path may have 25 more, for the
 *  entries below the key. */
inline constexpr std::size_t maxKey = 485;

/** Whether a text is the root of the health tree or a path below it, of at most
 *  maxKey bytes. */
bool isKey(const char* text);

/** What is wrong with a key of which somebody wants a node; empty when it is
 *  the root of the health tree or a sound path below it. */
std::string faultOfKey(const std::string& key);

/** A key with its ancestors, the root first. */
std::vector<std::string> withAncestors(const std::string& key);

/** The nodes of this process by their keys. */
class HostedNodes
{
  public:
    /** @param[in] bus what the nodes live on; must outlive this object
     *  @param[in] bounds how many may be asked for, and for how long */
    explicit HostedNodes(sdbusplus::bus_t& bus,
                         NodeSlots::Bounds bounds = NodeSlots::Bounds());

    /** What came of the wish for a node. */
    enum class Outcome
    {
        /** It is there now. */
        there,
        /** It could not be made, which was logged, or was not tried so soon
         *  after one that could not. */
        failed,
        /** Who asked has too many already. */
        overLimit,
    };

    /** Makes the nodes of a key and of its ancestors, as far as there are
     *  none, the ancestors first.
     *
     *  @param[in] key a key without fault
     *  @param[in] asker who asked for it; nobody when the tree needs it */
    Outcome host(const std::string& key,
                 const std::optional<Asker>& asker = std::nullopt);

    /** Whether the node of a key is one of these. */
    bool hosts(const std::string& key) const;

    /** The nodes of this process whose records other processes overtook. */
    std::vector<std::string> overtaken() const;

    /** The nodes that are to be here and have no record in any process: those
     *  whose record could not be made or is lost, and those that were lent and
     *  whose daemon has ended. */
    std::vector<std::string> withoutRecord() const;

    /** Gives a node up for a daemon that holds it now. It is made again when
     *  the daemon ends, as long as somebody needs it. */
    void lend(const std::string& key);

    /** Makes a node anew that is here already. */
    Outcome renew(const std::string& key);

    /** Gives a node up. */
    void release(const std::string& key);

    /** Gives up the nodes that nobody needs any more. */
    void releaseIdle(NodeSlots::Clock::time_point now);

    /** Notes that a connection is gone, and asks for nothing any more. */
    void forget(const std::string& name);

  private:
    bool make(const std::string& key);
    bool hasRoomForRules();
    Outcome makeAll(const std::vector<std::string>& keys,
                    const std::optional<Asker>& asker);
    bool knowsRecordsOf(const std::vector<std::string>& missing) const;

    sdbusplus::bus_t& bus;
    NodeSlots slots;
    services::GrowingPause pauses;
    /** No node is tried before. */
    NodeSlots::Clock::time_point pauseEnd;
    // From the deepest to the root, so that parents go last.
    std::map<std::string, std::unique_ptr<health_namespace::FaultAndHealth>,
             std::greater<>>
        nodes;
};

} // namespace healthintf::healthmgr
