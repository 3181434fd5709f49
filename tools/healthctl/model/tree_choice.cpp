// SPDX-License-Identifier: Apache-2.0
#include "tree_choice.hpp"

#include <hmi_health_value.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

using Wanted = std::function<bool(const TreeNode&)>;

/** A node without its children. */
TreeNode copyAlone(const TreeNode& node)
{
    return {.key = node.key,
            .recorded = node.recorded,
            .node = node.node,
            .parentMissing = node.parentMissing,
            .origin = node.origin,
            .faults = node.faults,
            .children = {}};
}

/** A node with what is wanted below it; nothing when nothing is wanted. */
std::optional<TreeNode> keep(const TreeNode& node, const Wanted& wanted)
{
    std::vector<TreeNode> children = keepNodes(listTops(node.children), wanted);
    if (children.empty() && !wanted(node))
    {
        return std::nullopt;
    }
    TreeNode kept = copyAlone(node);
    kept.children = std::move(children);
    return kept;
}

/** Removes the faults of other severities from a tree. */
void removeOtherFaults(TreeNode& node, const std::set<uint32_t>& severities)
{
    std::erase_if(node.faults, [&](const Fault& fault) {
        return !severities.contains(fault.record.severity());
    });
    for (TreeNode& child : node.children)
    {
        removeOtherFaults(child, severities);
    }
}

void collectFaults(const TreeNode& node, Faults& faults)
{
    faults.insert(faults.end(), node.faults.begin(), node.faults.end());
    for (const TreeNode& child : node.children)
    {
        collectFaults(child, faults);
    }
}

} // namespace

bool hasProblem(const TreeNode& node)
{
    const bool bad = node.recorded
                         ? node.node.health != health_namespace::healthOk
                         : node.visible() > 0;
    return bad || node.parentMissing || node.node.silent;
}

std::vector<TreeNode> keepNodes(const std::vector<const TreeNode*>& tops,
                                const Wanted& wanted)
{
    std::vector<TreeNode> kept;
    for (const TreeNode* top : tops)
    {
        if (auto tree = keep(*top, wanted))
        {
            kept.push_back(std::move(*tree));
        }
    }
    return kept;
}

std::vector<TreeNode> keepSeverities(const std::vector<const TreeNode*>& tops,
                                     const std::set<uint32_t>& severities)
{
    std::vector<TreeNode> kept = keepNodes(tops, [&](const TreeNode& node) {
        return (node.recorded && severities.contains(node.node.health)) ||
               std::ranges::any_of(node.faults, [&](const Fault& fault) {
                   return severities.contains(fault.record.severity());
               });
    });
    for (TreeNode& tree : kept)
    {
        removeOtherFaults(tree, severities);
    }
    return kept;
}

std::vector<const TreeNode*> listTops(const std::vector<TreeNode>& trees)
{
    std::vector<const TreeNode*> tops;
    tops.reserve(trees.size());
    for (const TreeNode& tree : trees)
    {
        tops.push_back(&tree);
    }
    return tops;
}

Faults listFaults(const std::vector<const TreeNode*>& tops)
{
    Faults faults;
    for (const TreeNode* top : tops)
    {
        collectFaults(*top, faults);
    }
    return faults;
}

} // namespace healthintf::healthctl
