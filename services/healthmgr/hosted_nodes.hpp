#pragma once

/** @file The nodes that the health manager holds itself, because no daemon
 *  does. */

#include <hmi_fault_health.hpp>

#include <sdbusplus/bus.hpp>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** How many levels below the root a key may lie. */
inline constexpr std::size_t maxDepth = 32;

/** What is wrong with a key of which somebody wants a node; empty when it is
 *  the root of the health tree or a sound path below it. */
std::string faultOfKey(const std::string& key);

/** A key with its ancestors, the root first. */
std::vector<std::string> withAncestors(const std::string& key);

/** The nodes of this process by their keys. */
class HostedNodes
{
  public:
    /** @param[in] bus what the nodes live on; must outlive this object */
    explicit HostedNodes(sdbusplus::bus_t& bus);

    /** Makes the nodes of a key and of its ancestors, as far as there are
     *  none, the ancestors first.
     *
     *  @param[in] key a key without fault
     *  @return whether all are there now; what is missing was logged */
    bool host(const std::string& key);

    /** Whether the node of a key is one of these. */
    bool hosts(const std::string& key) const;

    /** Gives a node up. */
    void release(const std::string& key);

  private:
    sdbusplus::bus_t& bus;
    // From the deepest to the root, so that parents go last.
    std::map<std::string, std::unique_ptr<health_namespace::FaultAndHealth>,
             std::greater<>>
        nodes;
};

} // namespace healthintf::healthmgr
