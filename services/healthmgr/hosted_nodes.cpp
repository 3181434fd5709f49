// SPDX-License-Identifier: Apache-2.0
#include "hosted_nodes.hpp"

#include "../common/service_log.hpp"
#include "data_cache/record_owners.hpp"
#include "data_cache/withdrawal.hpp"
#include "lost_monitor_fault.hpp"
#include "node_key.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>
#include <platform/data_abstraction/results.hpp>

#include <systemd/sd-bus.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <system_error>
#include <utility>

namespace healthintf::healthmgr
{

namespace log = services::log;

using health_namespace::FaultAndHealth;

namespace
{

/** Whether a living process other than this one has a record of a key. */
bool isHeldByDaemon(const std::string& key, const host::RecordOwners& owners)
{
    const auto owner = owners.find(key);
    return owner != owners.end() &&
           !(owner->second == host::ProcessIdentity::self());
}

} // namespace

bool hasNodesBelow(const std::string& key)
{
    std::map<std::string, HealthStatus_gen> below;
    DataAbstraction::HealthStatus::get_map_by_path_prefixes({}, {key + "/"},
                                                            below);
    return !below.empty();
}

HostedNodes::HostedNodes(sdbusplus::bus_t& bus, NodeSlots::Bounds bounds,
                         std::function<void()> onDeafNode, LostMonitors lost) :
    bus(bus),
    slots(bounds, geteuid()), lost(std::move(lost)),
    onDeafNode(std::move(onDeafNode))
{}

HostedNodes::Outcome HostedNodes::host(const std::string& key,
                                       const std::optional<Asker>& asker)
{
    std::vector<std::string> missing;
    for (const std::string& each : withAncestors(key))
    {
        const auto record = host::findHealthRecord(each);
        if (!record)
        {
            missing.push_back(each);
        }
        // A record of this process without a hosted node: the node could not
        // subscribe to its children, but stays on the bus.
        else if (record->owner == host::ProcessIdentity::self() && !hosts(each))
        {
            return Outcome::failed;
        }
    }
    if (missing.empty())
    {
        return Outcome::there;
    }
    const auto more = static_cast<std::size_t>(
        std::ranges::count_if(missing, [this](const std::string& each) {
            return !slots.contains(each);
        }));
    if (asker && !slots.hasRoom(*asker, more))
    {
        return Outcome::overLimit;
    }
    return knowsRecords(missing) ? makeAll(missing, asker) : Outcome::failed;
}

/** Whether the nodes really have no record: if one of them is hosted here, its
 *  record may be missing only because the data cache cannot be read. */
bool HostedNodes::knowsRecords(const std::vector<std::string>& missing) const
{
    host::RecordOwners owners;
    return std::ranges::none_of(missing,
                                [this](const std::string& key) {
                                    return hosts(key);
                                }) ||
           host::listNodeOwners(owners) == 0;
}

HostedNodes::Outcome HostedNodes::makeAll(const std::vector<std::string>& keys,
                                          const std::optional<Asker>& asker)
{
    if (NodeSlots::Clock::now() < pauseEnd)
    {
        return Outcome::failed;
    }
    for (const std::string& key : keys)
    {
        const bool made = make(key);
        if (hosts(key) && key != names::root && !slots.takeBack(key) &&
            !slots.contains(key))
        {
            slots.add(key, asker);
        }
        if (!made)
        {
            // Keep the slot: the requester still needs the node.
            if (!hosts(key))
            {
                slots.lend(key);
            }
            pauseEnd = NodeSlots::Clock::now() + pauses.next();
            return Outcome::failed;
        }
    }
    pauses.reset();
    return Outcome::there;
}

/** Whether the bus accepts all the match rules of one more node. A node without
 *  its rules would stay on the bus and never hear its children. */
bool HostedNodes::hasRoomForRules()
{
    // Different rules, as those of a node are.
    constexpr std::array rules{"type='signal',arg0='1'",
                               "type='signal',arg0='2'",
                               "type='signal',arg0='3'"};
    std::array<SlotPtr, rules.size()> slots;
    auto message =
        bus.new_signal(names::managerPath, names::managerService, "Rules");
    sd_bus* const raw = sd_bus_message_get_bus(message.get());
    for (std::size_t i = 0; i < rules.size(); ++i)
    {
        sd_bus_slot* slot = nullptr;
        const int result =
            sd_bus_add_match(raw, &slot, rules.at(i), nullptr, nullptr);
        slots.at(i).reset(slot);
        if (result < 0)
        {
            SERVICE_LOG(log::error,
                        "%s.%d.%s: the bus takes no more match rules (%s): "
                        "there is no room for another node",
                        std::generic_category().message(-result).c_str());
            return false;
        }
    }
    return true;
}

/** Makes a node. Its record may be missing afterwards, although the node is on
 *  the bus.
 *
 *  @return whether the node exists and has a record */
bool HostedNodes::make(const std::string& key)
{
    // An old node without a record would occupy the path on the bus.
    remove(key);
    if (!hasRoomForRules())
    {
        return false;
    }
    // A node that only gathers what its children report has no health of its
    // own.
    std::unique_ptr<FaultAndHealth> node(
        FaultAndHealth::Init(bus, key, health_namespace::healthNone, true));
    if (!node)
    {
        noteIfDeaf(key);
        return false;
    }
    nodes.insert_or_assign(key, std::move(node));
    reportLost(key);
    reportOthers(key);
    return host::findHealthRecord(key).has_value();
}

/** Ends the vain wait for a node that could not be made but is there. */
void HostedNodes::noteIfDeaf(const std::string& key) const
{
    const auto record = host::findHealthRecord(key);
    if (record && record->owner == host::ProcessIdentity::self())
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: %s is on the bus but cannot hear its children: "
                    "the next start of healthmgr makes it anew",
                    key.c_str());
        onDeafNode();
    }
}

bool HostedNodes::hosts(const std::string& key) const
{
    return nodes.contains(key);
}

std::vector<std::string> HostedNodes::overtaken() const
{
    host::RecordOwners owners;
    host::listNodeOwners(owners);
    std::vector<std::string> keys;
    for (const auto& [key, node] : nodes)
    {
        if (isHeldByDaemon(key, owners))
        {
            keys.push_back(key);
        }
    }
    return keys;
}

std::vector<std::string> HostedNodes::withoutRecord() const
{
    host::RecordOwners owners;
    if (host::listNodeOwners(owners) != 0)
    {
        return {};
    }
    std::vector<std::string> keys = slots.lent();
    for (const auto& [key, node] : nodes)
    {
        keys.push_back(key);
    }
    for (const std::string& key : withFaults())
    {
        keys.push_back(key);
    }
    std::erase_if(keys, [&owners](const std::string& key) {
        return owners.contains(key);
    });
    return keys;
}

/** The components that healthmgr itself reports faults of. */
std::vector<std::string> HostedNodes::withFaults() const
{
    std::vector<std::string> keys;
    if (faults != nullptr)
    {
        keys = faults->components();
    }
    for (const auto& [key, monitor] : lost.all())
    {
        keys.push_back(key);
    }
    return keys;
}

FaultAndHealth* HostedNodes::find(const std::string& key) const
{
    const auto node = nodes.find(key);
    return node == nodes.end() ? nullptr : node->second.get();
}

void HostedNodes::lend(const std::string& key)
{
    remove(key);
    const bool wasLost = lost.remove(key);
    const bool hadOthers = faults != nullptr && faults->giveUp(key);
    if ((wasLost || hadOthers) && !slots.hasAsker(key))
    {
        // The node was needed only until a daemon has the component.
        slots.remove(key);
    }
    else
    {
        slots.lend(key);
    }
}

void HostedNodes::remove(const std::string& key)
{
    nodes.erase(key);
    reportedLost.erase(key);
}

void HostedNodes::noteLost(const std::vector<host::LeftNode>& left)
{
    host::RecordOwners owners;
    host::listNodeOwners(owners);
    auto unwatched = left;
    std::erase_if(unwatched, [&owners](const host::LeftNode& node) {
        return isHeldByDaemon(node.key, owners);
    });
    for (const std::string& key : lost.add(std::move(unwatched)))
    {
        // Another daemon of the component may have been lost before.
        takeLostBack(key);
        reportLost(key);
    }
}

/** Reports the fault of a lost monitor, if the node is hosted here and does not
 *  have it. */
void HostedNodes::reportLost(const std::string& key)
{
    const auto node = nodes.find(key);
    const LostMonitor* monitor = lost.find(key);
    if (node != nodes.end() && monitor != nullptr &&
        !reportedLost.contains(key) &&
        reportLostMonitor(*node->second, *monitor))
    {
        reportedLost.insert(key);
    }
}

/** Takes the fault of a lost monitor back, if the node has it. */
void HostedNodes::takeLostBack(const std::string& key)
{
    if (reportedLost.erase(key) > 0)
    {
        withdrawLostMonitor(*nodes.at(key));
        // It has taken all faults of the node back.
        reportOthers(key);
    }
}

/** Reports the other faults of healthmgr on a node that has none. */
void HostedNodes::reportOthers(const std::string& key)
{
    if (faults != nullptr && faults->has(key))
    {
        faults->report(key, *nodes.at(key));
    }
}

void HostedNodes::keepLost()
{
    host::RecordOwners owners;
    const std::vector<std::string> keys = withFaults();
    if (!keys.empty())
    {
        host::listNodeOwners(owners);
    }
    for (const std::string& key : keys)
    {
        // It may have failed before.
        reportLost(key);
        // A node that is still hosted here ends with lend().
        if (isHeldByDaemon(key, owners) && !hosts(key))
        {
            lost.remove(key);
            if (faults != nullptr)
            {
                faults->giveUp(key);
            }
        }
    }
    lost.save();
}

bool HostedNodes::dismissLost(const std::string& key)
{
    if (!lost.remove(key))
    {
        return false;
    }
    lost.save();
    takeLostBack(key);
    releaseUnneeded(key);
    return true;
}

/** Whether the bus answers at once. */
bool HostedNodes::busAnswers()
{
    constexpr uint64_t patience = 1'000'000;
    auto question =
        bus.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                            "org.freedesktop.DBus", "GetId");
    try
    {
        bus.call(question, patience);
        return true;
    }
    catch (const sdbusplus::exception_t& e)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the bus does not answer (%s): no node is made "
                    "anew",
                    e.what());
        return false;
    }
}

HostedNodes::Outcome HostedNodes::renew(const std::string& key)
{
    if (NodeSlots::Clock::now() < pauseEnd)
    {
        return Outcome::failed;
    }
    // While the bus hangs, a node would be given up for none.
    if (!busAnswers())
    {
        pauseEnd = NodeSlots::Clock::now() + pauses.next();
        return Outcome::failed;
    }
    return makeAll({key}, std::nullopt);
}

void HostedNodes::releaseUnneeded(const std::string& key)
{
    if (key != names::root && !hasFault(key) && !slots.hasAsker(key) &&
        !hasNodesBelow(key))
    {
        release(key);
    }
}

void HostedNodes::release(const std::string& key)
{
    remove(key);
    slots.remove(key);
}

void HostedNodes::releaseIdle(NodeSlots::Clock::time_point now)
{
    if (slots.empty())
    {
        return;
    }
    std::map<std::string, HealthStatus_gen> records;
    if (DataAbstraction::HealthStatus::get_map_by_path_prefixes(
            {}, {}, records) != DataAbstraction::readOk)
    {
        return;
    }
    std::set<std::string> keys;
    for (const auto& [key, record] : records)
    {
        keys.insert(keys.end(), key);
    }
    std::set<std::string> needed;
    for (const std::string& key : withFaults())
    {
        needed.insert(key);
    }
    for (const std::string& key : slots.idle(keys, needed, now))
    {
        if (hosts(key))
        {
            SERVICE_LOG(log::lifetime,
                        "%s.%d.%s: nothing is below %s any more, giving it up",
                        key.c_str());
        }
        release(key);
    }
}

void HostedNodes::forget(const std::string& name)
{
    slots.forget(name);
}

} // namespace healthintf::healthmgr
