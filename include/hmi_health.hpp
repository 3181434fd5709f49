// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The health node: the published health of one component key. */

#include <com/vexa/olvar/api.hpp>
#include <com/vexa/olvar/healthmgr/HealthStatus/server.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace health_namespace
{

/** The health node of one component key.
 *
 *  The node is a D-Bus object at the key and a record of the data cache. Its
 *  health is the worst of its own health and of what its child nodes report, in
 *  this process or in any other; each change is reported to its parent node.
 *
 *  A node belongs to the thread that processes its bus: every function here is
 *  called from that thread, and signals arrive on it. */
class HEALTHINTF_API HealthStatus
    : public sdbusplus::server::com::vexa::olvar::healthmgr::HealthStatus
{
  public:
    /** The health of each child that reported one, and of the node itself
     *  under its own key. */
    using ChildMap = std::unordered_map<std::string, uint32_t>;

    /** A record of the data cache with its path. */
    using Record = std::pair<std::string, HealthStatus_gen>;

    /** Creates a node, subscribes it to its children and publishes it.
     *
     *  @param[in] bus the node's connection; it must outlive the node
     *  @param[in] key the component key, a D-Bus object path of at most 1,024
     *             bytes
     *  @param[in] initialHealth the node's own health, 0 to 4
     *  @return the node, which the caller owns; null on any failure, which is
     *          logged
     *
     *  Does not throw. When a created node cannot be subscribed or published,
     *  null is returned, but the node stays on the bus, because its children
     *  may have seen it already. Its key cannot be used again on this bus. */
    static HealthStatus* Init(sdbusplus::bus_t& bus, std::string& key,
                              unsigned int initialHealth);

    /** Creates a node without subscribing it; use Init().
     *
     *  @throws sdbusplus::exception::SdBusError when the key is no object path
     *          or is taken on this bus */
    HealthStatus(sdbusplus::bus_t& bus, const std::string& key,
                 const PropertyMap& properties);

    /** Tells the parent health 0 and withdraws the node; does not throw. */
    ~HealthStatus() override;

    /** The key of the parent: the text before the last slash. Empty for the
     *  root of the health tree and, with a line in the log, for a key without a
     *  slash. */
    static std::string GetParentKey(const std::string& key);

    /** The health value of a fault by its message's severity.
     *
     *  @param[in] severity the registry's severity, 1 being the most severe
     *  @return 4, 3 and 2 for the severities 1, 2 and 3; 1 for any other */
    static unsigned int MCATSeverityToHealthStatus(unsigned int severity);

    /** Writes the node and its children to the debug log. */
    void print();

    /** Sets the node's own health and publishes the resulting health.
     *
     *  @param[in] status the health, 0 to 4; 0 for none, so that only the
     *             children count
     *  @return the node's health
     *  @throws sdbusplus::exception::SdBusError when the parent cannot be told,
     *          or what one of the callbacks throws */
    int updateHealthStatus(unsigned int status);

    /** Sets the node's own health without publishing anything. It counts from
     *  the next calculation on.
     *
     *  @param[in] status as for updateHealthStatus() */
    HEALTHINTF_LOCAL void storeOwnHealth(unsigned int status);

    /** Computes the node's health again and publishes a change.
     *
     *  @param[in] force whether to publish although nothing changed
     *  @return the node's health
     *  @throws as updateHealthStatus() */
    unsigned int recalculateHealth(bool force);

    /** Publishes a health and reports the property's value to the parent: the
     *  old value, if the data cache refuses the new one.
     *
     *  @throws sdbusplus::exception::SdBusError when the parent cannot be
     *          told */
    void updateHealthStatusAndSendSignalInternal(unsigned int health);

    /** Subscribes the node to what its children report, ending any earlier
     *  subscription.
     *
     *  @throws sdbusplus::exception::SdBusError when the bus refuses */
    void RegisterHealthStatusCallback(sdbusplus::bus_t& bus);

    /** Handles one HealthStatusUpdate signal.
     *
     *  @return 0
     *  @throws sdbusplus::exception::SdBusError when the signal is malformed,
     *          and as updateHealthStatus() */
    int healthStatusCallbackHandler(sdbusplus::message_t& message);

    /** Stores one child's health; 0 forgets the child. With an empty key the
     *  node publishes its health again, because its record may have been
     *  removed.
     *
     *  @return 0
     *  @throws as updateHealthStatus() */
    int healthStatusInternalCallbackHandler(std::string& childKey,
                                            unsigned int health);

    /** Reads the children's health from the data cache and publishes, even
     *  when nothing changed, unless the read failed.
     *
     *  @return 0, or the data cache's error number
     *  @throws as updateHealthStatus() */
    int GetImmediateChildsAndUpdate();

    /** Reads the records of a key and of its immediate children.
     *
     *  A path that begins with the key is a child's when no slash follows
     *  behind the next character. That character itself need not be a slash:
     *  "/health/ab" counts as a child of "/health/a".
     *
     *  @param[in] key the key
     *  @param[in,out] records the records found are appended, in path order
     *  @return 0, or the data cache's error number */
    static int GetImmediateChildHealthStatus(const std::string& key,
                                             std::vector<Record>& records);

    /** Whether there is a health record at @p path. Always true for the key
     *  above the root; false when the data cache cannot be read. */
    static bool CheckHealthStatusExist(const std::string& path);

    /** Lists the parents without a health record, except the root. A missing
     *  parent is listed once for each of its children.
     *
     *  @param[out] parents replaced by the list; empty when the data cache
     *              cannot be read */
    static void GetMissingParents(std::vector<std::string>& parents);

  private:
    HEALTHINTF_LOCAL unsigned int findWorstChild() const;

    std::string key;
    std::string parentKey;
    std::unique_ptr<sdbusplus::bus::match_t> healthMatch;
    ChildMap childMap;

  public:
    /** Computes a node's health from its key and child map; when empty, the
     *  health is the largest value of the map, 0 for an empty one. May be set
     *  by the node's owner after Init().
     *
     *  It may replace or clear either callback, also itself, and destroy the
     *  node: then nothing is published. Its arguments belong to the node and
     *  are destroyed with it. */
    std::function<unsigned int(const std::string&, const ChildMap&)>
        healthCalculator;

    /** Called with the published health after every publication. May be set by
     *  the node's owner after Init().
     *
     *  It may replace or clear either callback, also itself, and destroy the
     *  node. */
    std::function<void(unsigned int)> healthChangedCallback;
};

} // namespace health_namespace
