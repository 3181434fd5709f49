// SPDX-License-Identifier: Apache-2.0
#include "health_tree.hpp"

#include "component.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

/** Whether a key must have a parent, as each below the root does. */
bool hasParent(const std::string& key)
{
    return key != names::root && isAtOrBelow(key, names::root);
}

/** All keys, those that are made up too, and what is known of them. */
class Gathered
{
  public:
    Gathered(const Nodes& nodes, const Faults& faults) : nodes(nodes)
    {
        for (const auto& [key, node] : nodes)
        {
            addKey(key);
        }
        for (const Fault& fault : faults)
        {
            const std::string key = getComponent(fault.path);
            addKey(key);
            faultsOf[key].push_back(fault);
        }
    }

    std::vector<TreeNode> trees() const
    {
        std::vector<TreeNode> all;
        for (const std::string& key : tops)
        {
            all.push_back(grow(key));
        }
        return all;
    }

  private:
    void addKey(const std::string& key)
    {
        if (!hasParent(key))
        {
            tops.insert(key);
            return;
        }
        const std::string parent = getParent(key);
        if (childrenOf[parent].insert(key).second)
        {
            addKey(parent);
        }
    }

    TreeNode grow(const std::string& key) const
    {
        TreeNode grown;
        grown.key = key;
        if (const auto node = nodes.find(key); node != nodes.end())
        {
            grown.recorded = true;
            grown.node = node->second;
        }
        grown.parentMissing =
            grown.recorded && hasParent(key) && !nodes.contains(getParent(key));
        if (const auto faults = faultsOf.find(key); faults != faultsOf.end())
        {
            grown.faults = faults->second;
        }
        if (const auto children = childrenOf.find(key);
            children != childrenOf.end())
        {
            for (const std::string& child : children->second)
            {
                grown.children.push_back(grow(child));
            }
        }
        grown.origin = getOrigin(grown);
        return grown;
    }

    static Origin getOrigin(const TreeNode& of)
    {
        uint32_t fault = 0;
        for (const Fault& each : of.faults)
        {
            if (!each.record.hidden())
            {
                fault = std::max(fault, each.record.severity());
            }
        }
        uint32_t child = 0;
        for (const TreeNode& each : of.children)
        {
            child = std::max(child, each.node.health);
        }
        const uint32_t health = of.node.health;
        return {.faults = health != 0 && fault == health,
                .children = health != 0 && child == health,
                .base = health > fault && health > child};
    }

    const Nodes& nodes;
    std::map<std::string, Faults> faultsOf;
    std::map<std::string, std::set<std::string>> childrenOf;
    std::set<std::string> tops;
};

} // namespace

std::size_t TreeNode::visible() const
{
    return faults.size() - hidden();
}

std::size_t TreeNode::hidden() const
{
    return static_cast<std::size_t>(
        std::ranges::count_if(faults, [](const Fault& fault) {
            return fault.record.hidden();
        }));
}

std::vector<TreeNode> buildTrees(const Nodes& nodes, const Faults& faults)
{
    return Gathered(nodes, faults).trees();
}

const TreeNode* findNode(const std::vector<TreeNode>& trees,
                         const std::string& key)
{
    for (const TreeNode& tree : trees)
    {
        if (tree.key == key)
        {
            return &tree;
        }
        if (isAtOrBelow(key, tree.key))
        {
            if (const TreeNode* found = findNode(tree.children, key))
            {
                return found;
            }
        }
    }
    return nullptr;
}

} // namespace healthintf::healthctl
