// SPDX-License-Identifier: Apache-2.0
#include "watched_tree.hpp"

#include <iterator>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

void append(Changes& changes, Changes more)
{
    changes.insert(changes.end(), std::make_move_iterator(more.begin()),
                   std::make_move_iterator(more.end()));
}

Change nodeChange(Change::Kind kind, const std::string& key,
                  std::optional<uint32_t> before, std::optional<uint32_t> now)
{
    return {.kind = kind,
            .path = key,
            .before = before,
            .now = now,
            .fault = std::nullopt};
}

Change faultChange(Change::Kind kind, const std::string& path,
                   const FaultEntryProperties& fault)
{
    return {.kind = kind,
            .path = path,
            .before = std::nullopt,
            .now = std::nullopt,
            .fault = fault};
}

Change processChange(Change::Kind kind, const std::string& process,
                     std::vector<std::string> components)
{
    return {.kind = kind,
            .path = process,
            .before = std::nullopt,
            .now = std::nullopt,
            .fault = std::nullopt,
            .components = std::move(components)};
}

} // namespace

Changes WatchedTree::setHealth(const std::string& key, uint32_t health)
{
    const auto node = knownNodes.find(key);
    if (node == knownNodes.end() || node->second.health == health)
    {
        return {};
    }
    const uint32_t before = std::exchange(node->second.health, health);
    return {nodeChange(Change::Kind::health, key, before, health)};
}

Changes WatchedTree::addNode(const std::string& key, const Node& node)
{
    const auto [known, isNew] = knownNodes.try_emplace(key, node);
    if (isNew)
    {
        return {nodeChange(Change::Kind::nodeAdded, key, std::nullopt,
                           node.health)};
    }
    Changes changes = setHealth(key, node.health);
    known->second = node;
    return changes;
}

Changes WatchedTree::addFault(const std::string& path,
                              const WatchedFault& fault)
{
    const auto [known, isNew] = knownFaults.try_emplace(path, fault);
    if (!isNew)
    {
        known->second.connection = fault.connection;
        return {};
    }
    return {faultChange(Change::Kind::faultAdded, path, fault.properties)};
}

Changes WatchedTree::removeFault(const std::string& path)
{
    const auto gone = knownFaults.extract(path);
    if (gone.empty())
    {
        return {};
    }
    return {faultChange(Change::Kind::faultRemoved, path,
                        gone.mapped().properties)};
}

Changes WatchedTree::setHidden(const std::string& path, bool hidden)
{
    const auto fault = knownFaults.find(path);
    if (fault == knownFaults.end() || fault->second.properties.hidden == hidden)
    {
        return {};
    }
    fault->second.properties.hidden = hidden;
    return {faultChange(hidden ? Change::Kind::faultHidden
                               : Change::Kind::faultShown,
                        path, fault->second.properties)};
}

Changes WatchedTree::takeOver(const Nodes& nodesThere,
                              const Faults& faultsThere,
                              const SilentProcesses& silentThere)
{
    Changes changes = endSilence(silentThere);
    removeFaultsBut(faultsThere, silentThere, changes);
    removeNodesBut(nodesThere, silentThere, changes);
    for (const auto& [key, node] : nodesThere)
    {
        append(changes, addNode(key, node));
    }
    for (const auto& [path, fault] : faultsThere)
    {
        append(changes, addFault(path, fault));
        append(changes, setHidden(path, fault.properties.hidden));
    }
    append(changes, beginSilence(silentThere));
    knownSilent = silentThere;
    return changes;
}

Changes WatchedTree::endSilence(const SilentProcesses& there) const
{
    Changes changes;
    for (const auto& [connection, process] : knownSilent)
    {
        if (!there.contains(connection))
        {
            changes.push_back(processChange(Change::Kind::processSilentEnded,
                                            process, listKeys(connection)));
        }
    }
    return changes;
}

Changes WatchedTree::beginSilence(const SilentProcesses& there)
{
    Changes changes;
    for (auto& [key, node] : knownNodes)
    {
        node.silent = there.contains(node.connection);
    }
    for (const auto& [connection, process] : there)
    {
        if (!knownSilent.contains(connection))
        {
            changes.push_back(processChange(Change::Kind::processSilent,
                                            process, listKeys(connection)));
        }
    }
    return changes;
}

Changes WatchedTree::silence() const
{
    Changes changes;
    for (const auto& [connection, process] : knownSilent)
    {
        changes.push_back(processChange(Change::Kind::processSilent, process,
                                        listKeys(connection)));
    }
    return changes;
}

std::vector<std::string>
WatchedTree::listKeys(const std::string& connection) const
{
    std::vector<std::string> keys;
    for (const auto& [key, node] : knownNodes)
    {
        if (node.connection == connection)
        {
            keys.push_back(key);
        }
    }
    return keys;
}

void WatchedTree::removeFaultsBut(const Faults& there,
                                  const SilentProcesses& silentThere,
                                  Changes& changes)
{
    std::erase_if(knownFaults, [&](const auto& known) {
        const bool gone = !there.contains(known.first) &&
                          !silentThere.contains(known.second.connection);
        if (gone)
        {
            changes.push_back(faultChange(Change::Kind::faultRemoved,
                                          known.first,
                                          known.second.properties));
        }
        return gone;
    });
}

void WatchedTree::removeNodesBut(const Nodes& there,
                                 const SilentProcesses& silentThere,
                                 Changes& changes)
{
    std::erase_if(knownNodes, [&](const auto& known) {
        const bool gone = !there.contains(known.first) &&
                          !silentThere.contains(known.second.connection);
        if (gone)
        {
            changes.push_back(nodeChange(Change::Kind::nodeRemoved, known.first,
                                         known.second.health, std::nullopt));
        }
        return gone;
    });
}

} // namespace healthintf::healthctl
