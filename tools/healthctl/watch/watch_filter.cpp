// SPDX-License-Identifier: Apache-2.0
#include "watch_filter.hpp"

#include "../model/component.hpp"
#include "../model/tree_choice.hpp"

#include <algorithm>

namespace healthintf::healthctl
{
namespace
{

bool hasSeverity(uint32_t severity, const WatchFilter& filter)
{
    return filter.severities.empty() || filter.severities.contains(severity);
}

bool hasSeverity(const std::optional<uint32_t>& health,
                 const WatchFilter& filter)
{
    return health && hasSeverity(*health, filter);
}

bool hasWatchedComponent(const Change& change, const WatchFilter& filter)
{
    return std::ranges::any_of(change.components, [&](const std::string& key) {
        return isAtOrBelow(key, filter.key);
    });
}

} // namespace

bool isWatched(const Change& change, const WatchFilter& filter)
{
    switch (change.kind)
    {
        case Change::Kind::processSilent:
        case Change::Kind::processSilentEnded:
            return change.components.empty() ||
                   hasWatchedComponent(change, filter);
        case Change::Kind::silenced:
        case Change::Kind::silenceEnded:
            return filter.key.empty() || hasWatchedComponent(change, filter);
        case Change::Kind::nodeAdded:
        case Change::Kind::nodeRemoved:
        case Change::Kind::health:
            return isAtOrBelow(change.path, filter.key) &&
                   (hasSeverity(change.before, filter) ||
                    hasSeverity(change.now, filter));
        default:
            return isAtOrBelow(getComponent(change.path), filter.key) &&
                   change.fault && hasSeverity(change.fault->severity, filter);
    }
}

std::size_t countNodes(const WatchedTree& tree, const WatchFilter& filter)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(tree.nodes(), [&](const auto& node) {
            return isAtOrBelow(node.first, filter.key) &&
                   hasSeverity(node.second.health, filter);
        }));
}

std::size_t countFaults(const WatchedTree& tree, const WatchFilter& filter)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(tree.faults(), [&](const auto& fault) {
            return isAtOrBelow(getComponent(fault.first), filter.key) &&
                   hasSeverity(fault.second.properties.severity, filter);
        }));
}

std::vector<TreeNode> chooseTrees(const std::vector<TreeNode>& trees,
                                  const WatchFilter& filter)
{
    std::vector<const TreeNode*> tops = listTops(trees);
    if (!filter.key.empty())
    {
        const TreeNode* top = findNode(trees, filter.key);
        tops.assign(top != nullptr ? 1 : 0, top);
    }
    return filter.severities.empty() ? keepNodes(tops,
                                                 [](const TreeNode&) {
                                                     return true;
                                                 })
                                     : keepSeverities(tops, filter.severities);
}

} // namespace healthintf::healthctl
