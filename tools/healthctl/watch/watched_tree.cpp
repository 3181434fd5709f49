// SPDX-License-Identifier: Apache-2.0
#include "watched_tree.hpp"

#include <iterator>

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

} // namespace

Changes WatchedTree::setHealth(const std::string& key, uint32_t health)
{
    const auto [node, isNew] = knownNodes.try_emplace(key, health);
    if (isNew)
    {
        return {nodeChange(Change::Kind::nodeAdded, key, std::nullopt, health)};
    }
    const uint32_t before = node->second;
    if (before == health)
    {
        return {};
    }
    node->second = health;
    return {nodeChange(Change::Kind::health, key, before, health)};
}

Changes WatchedTree::addFault(const std::string& path,
                              const FaultEntryProperties& fault)
{
    if (!knownFaults.try_emplace(path, fault).second)
    {
        return {};
    }
    return {faultChange(Change::Kind::faultAdded, path, fault)};
}

Changes WatchedTree::removeFault(const std::string& path)
{
    const auto gone = knownFaults.extract(path);
    if (gone.empty())
    {
        return {};
    }
    return {faultChange(Change::Kind::faultRemoved, path, gone.mapped())};
}

Changes WatchedTree::setHidden(const std::string& path, bool hidden)
{
    const auto fault = knownFaults.find(path);
    if (fault == knownFaults.end() || fault->second.hidden == hidden)
    {
        return {};
    }
    fault->second.hidden = hidden;
    return {faultChange(hidden ? Change::Kind::faultHidden
                               : Change::Kind::faultShown,
                        path, fault->second)};
}

Changes WatchedTree::takeOver(const Nodes& nodesThere,
                              const Faults& faultsThere)
{
    Changes changes;
    removeFaultsBut(faultsThere, changes);
    removeNodesBut(nodesThere, changes);
    for (const auto& [key, health] : nodesThere)
    {
        append(changes, setHealth(key, health));
    }
    for (const auto& [path, fault] : faultsThere)
    {
        append(changes, addFault(path, fault));
        append(changes, setHidden(path, fault.hidden));
    }
    return changes;
}

void WatchedTree::removeFaultsBut(const Faults& there, Changes& changes)
{
    std::erase_if(knownFaults, [&](const auto& known) {
        const bool gone = !there.contains(known.first);
        if (gone)
        {
            changes.push_back(faultChange(Change::Kind::faultRemoved,
                                          known.first, known.second));
        }
        return gone;
    });
}

void WatchedTree::removeNodesBut(const Nodes& there, Changes& changes)
{
    std::erase_if(knownNodes, [&](const auto& known) {
        const bool gone = !there.contains(known.first);
        if (gone)
        {
            changes.push_back(nodeChange(Change::Kind::nodeRemoved, known.first,
                                         known.second, std::nullopt));
        }
        return gone;
    });
}

} // namespace healthintf::healthctl
