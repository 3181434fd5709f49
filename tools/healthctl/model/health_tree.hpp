// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The health tree, put together of nodes and faults. */

#include "../source/health_source.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Where a node's health comes from, as far as the records tell. */
struct Origin
{
    /** A visible fault of its own is as bad as the node. */
    bool faults = false;
    /** A child is as bad as the node. */
    bool children = false;
    /** Neither faults nor children are as bad, so its base health is. */
    bool base = false;
};

/** A key of the tree. */
struct TreeNode
{
    std::string key;
    /** Whether there is a node. A key without one is there for what lies below
     *  it. */
    bool recorded = false;
    Node node;
    /** Whether the key above should have a node and has none. */
    bool parentMissing = false;
    Origin origin;
    /** In the order of their paths. */
    Faults faults;
    std::vector<TreeNode> children;

    std::size_t visible() const;
    std::size_t hidden() const;
};

/** Puts the tree together. What should lie above a key and is missing is made
 *  up, without a node.
 *
 *  @return the topmost keys in their order: the root of the health tree, and
 *          what lies outside it */
std::vector<TreeNode> buildTrees(const Nodes& nodes, const Faults& faults);

/** The subtree of a key; null when there is none. */
const TreeNode* findNode(const std::vector<TreeNode>& trees,
                         const std::string& key);

} // namespace healthintf::healthctl
